#include "diag/log_config.h"

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

#include "diag/dbg_log_facade.h"
#include "platform/critical_section.h"
#include "platform/log_files.h"
#include "platform/module_identity.h"

namespace sbx {
namespace {

constexpr std::uint32_t kMutexMilliseconds = 5000;

// Text in a shared block need not have an end.
template <std::size_t Units>
WideView BoundedView(const char16_t (&text)[Units]) noexcept {
  return {text, static_cast<std::size_t>(std::find(text, text + Units, u'\0') - text)};
}

// Whether the record is that of the name, which is asked with every message that may be logged: it nearly
// always has the very units of the name.
bool IsRecordOf(const LOGCFG_MODULE& record, WideView name) noexcept {
  if (name.size() < std::size(record.name) && record.name[name.size()] == 0 &&
      WideView(record.name, name.size()) == name) {
    return true;
  }
  return EqualsIgnoringCase(BoundedView(record.name), name);
}

template <class Number>
Number LoadShared(const Number& field) noexcept {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): atomic_ref takes no const, also to read
  return std::atomic_ref(const_cast<Number&>(field)).load(std::memory_order_relaxed);
}

bool AreMagicsRight(const LOGCFG_BLOCK& block) noexcept {
  return LoadShared(block.headMagic) == kLogConfigMagic && LoadShared(block.tailMagic) == kLogConfigMagic;
}

template <std::size_t Units>
void Store(char16_t (&field)[Units], WideView text) noexcept {
  std::fill(field, field + Units, u'\0');
  CopyTruncated(field, Units, text);
}

// The two tables that live as long as the process. Made at first use and freed by hand, so that nothing of
// them runs at the end of the process.
struct LevelCache {
  platform::CriticalSection lock;
  std::map<WideString, std::int32_t>* levels = nullptr;
};
constinit LevelCache g_levels;

struct DisabledOptions {
  platform::CriticalSection lock;
  std::vector<WideString>* names = nullptr;
  bool isLoaded = false;
};
constinit DisabledOptions g_disabled;

std::int32_t ReadRegistryLevel(WideView name) {
  std::uint32_t kind = GetProductKind();
  if (kind == PRODUCT_NONE || kind == PRODUCT_UPDATE_MANAGER) {
    const std::uint32_t flags = CLogConfig::Instance().installFlags();
    if ((flags & PRODUCT_ENGINE) != 0) {
      kind = PRODUCT_ENGINE;
    } else if ((flags & PRODUCT_MANAGEMENT) != 0) {
      kind = PRODUCT_MANAGEMENT;
    }
  }
  if (kind == PRODUCT_WINPE) return kNoLogLevel;  // there the registry isn't asked
  char16_t key[260] = {};
  static_cast<void>(GetProductKeyPath(kind, key, std::size(key)));
  std::uint32_t level = 0;
  const std::uint32_t status =
      ReadRegistryDword(WideString(ViewOf(key)).append(u"\\Debug"), WideString(name), &level);
  return status == platform::kStatusSuccess ? static_cast<std::int32_t>(level) : kNoLogLevel;
}

template <class Table>
void FreeInChild(Table& table) noexcept {
  if (table.lock.try_lock()) {
    table.lock.unlock();
    return;
  }
  // Whatever the vanished thread was doing to it can't be told: the table is left behind.
  new (&table) Table();
}

}  // namespace

// --- The block ---------------------------------------------------------------------------------------------

// What every operation on the block begins and ends with.
class CLogConfig::Guard {
 public:
  explicit Guard(CLogConfig& config) : config_(config) {
    if (!config.Attach(platform::CurrentProcessId())) return;
    scope_.emplace(config.mutex_, kMutexMilliseconds);
    if (scope_->result() != platform::WaitResult::kObtained) return;  // an abandoned one counts as a failure
    const LOGCFG_BLOCK* block = config.view_.load(std::memory_order_acquire);
    if (block == nullptr || !AreMagicsRight(*block)) {
      DBGTrace(u"[%d:%d] Share memory was destroied\r\n", platform::CurrentProcessId(),
               platform::CurrentThreadId());
      return;
    }
    isUsable_ = true;
    if (config.isForked_.exchange(false)) config.RegisterUnderGuard(ViewOf(config.ownRecord_));
  }
  ~Guard() = default;
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

  explicit operator bool() const noexcept { return isUsable_; }
  LOGCFG_BLOCK& block() const noexcept { return *config_.view_.load(std::memory_order_relaxed); }

 private:
  CLogConfig& config_;
  std::optional<platform::MutexScope> scope_;
  bool isUsable_ = false;
};

CLogConfig::CLogConfig() : installFlags_(DetectInstall()) {
  BuildLogFolder();
}

void CLogConfig::DetectAgain() {
  installFlags_ = DetectInstall();
  logFolder_[0] = 0;
  BuildLogFolder();
}

CLogConfig& CLogConfig::Instance() {
  // In storage without a destructor, so that a late call finds a closed object and not a dead one. The guard
  // that a compiler makes for a static object leaves handles behind with each unloading, in some run time
  // libraries.
  alignas(CLogConfig) static unsigned char storage[sizeof(CLogConfig)];
  static constinit std::atomic<CLogConfig*> instance = nullptr;
  static constinit platform::CriticalSection making;
  if (CLogConfig* const made = instance.load(std::memory_order_acquire)) return *made;
  const std::scoped_lock guard(making);
  CLogConfig* config = instance.load(std::memory_order_relaxed);
  if (config == nullptr) {
    config = new (storage) CLogConfig;
    instance.store(config, std::memory_order_release);
  }
  return *config;
}

bool CLogConfig::Attach(std::uint32_t processId) {
  if (view_.load(std::memory_order_acquire) != nullptr) return true;
  static constinit platform::CriticalSection opening;
  {
    // The handle itself is not made by two threads at once.
    const std::scoped_lock guard(opening);
    if (!mutex_.IsOpen() &&
        !platform::IsOpened(mutex_.Create(Message(kLogConfigMutexName, processId).view()))) {
      return false;
    }
  }
  const platform::MutexScope scope(mutex_, kMutexMilliseconds);
  if (scope.result() != platform::WaitResult::kObtained) return false;
  if (mapping_.IsOpen()) return true;
  platform::ObjectStatus status =
      mapping_.Create(Message(kLogConfigBlockName, processId).view(), sizeof(LOGCFG_BLOCK));
  if (status == platform::ObjectStatus::kDenied) {
    status = mapping_.Create(Message(kLogConfigLocalBlockName, processId).view(), sizeof(LOGCFG_BLOCK));
  }
  if (!platform::IsOpened(status)) return false;
  return MapBlock(status == platform::ObjectStatus::kOk);
}

// Under the mutex, so that no one sees a half-made block.
bool CLogConfig::MapBlock(bool isNew) noexcept {
  auto* block = static_cast<LOGCFG_BLOCK*>(mapping_.Map(sizeof(LOGCFG_BLOCK)));
  if (block == nullptr) return false;
  if (isNew) {
    // A new block is zero already.
    block->headMagic = kLogConfigMagic;
    block->tailMagic = kLogConfigMagic;
    block->globalLevel = kNoLogLevel;
    for (LOGCFG_MODULE& record : block->modules) record.flags = kFreshRecordFlags;
  }
  view_.store(block, std::memory_order_release);
  return true;
}

void CLogConfig::FindModule(WideView name) noexcept {
  LOGCFG_MODULE* current = current_.load(std::memory_order_relaxed);
  if (name.empty()) {
    current_.store(nullptr, std::memory_order_release);
    return;
  }
  if (current != nullptr && EqualsIgnoringCase(BoundedView(current->name), name)) return;
  current = nullptr;
  for (LOGCFG_MODULE& record : view_.load(std::memory_order_relaxed)->modules) {
    if (record.name[0] == 0) break;
    if (EqualsIgnoringCase(BoundedView(record.name), name)) {
      current = &record;
      break;
    }
  }
  current_.store(current, std::memory_order_release);
}

std::int32_t CLogConfig::LevelOf(const LOGCFG_MODULE* record, bool hasName) const noexcept {
  if (record != nullptr && (LoadShared(record->flags) & kLogLevelNotFixed) == 0)
    return LoadShared(record->level);
  const std::int32_t global = LoadShared(view_.load(std::memory_order_relaxed)->globalLevel);
  if (global != kNoLogLevel) return global;
  return hasName && record != nullptr ? LoadShared(record->level) : kNoLogLevel;
}

// What the operation under the mutex would answer, from fields that are written in one piece. Nothing if the
// record has to be looked for.
std::optional<std::int32_t> CLogConfig::LevelWithoutMutex(WideView name) noexcept {
  const LOGCFG_BLOCK* block = view_.load(std::memory_order_acquire);
  if (block == nullptr) return {};
  if (!AreMagicsRight(*block)) return kNoLogLevel;
  const LOGCFG_MODULE* current = current_.load(std::memory_order_acquire);
  if (current == nullptr || name.empty() || !IsRecordOf(*current, name)) return {};
  return LevelOf(current, true);
}

bool CLogConfig::ReadLevel(const char16_t* registeredName, std::int32_t* level) const noexcept {
  const LOGCFG_MODULE* record = registered_.load(std::memory_order_acquire);
  if (record == nullptr || registrant_.load(std::memory_order_relaxed) != registeredName) return false;
  const bool isWhole = AreMagicsRight(*view_.load(std::memory_order_relaxed));
  *level = isWhole ? LevelOf(record, true) : kNoLogLevel;
  return true;
}

std::int32_t CLogConfig::GetModuleLevel(WideView name) {
  if (const std::optional<std::int32_t> level = LevelWithoutMutex(name)) return *level;
  const Guard guard(*this);
  if (!guard) return kNoLogLevel;
  FindModule(name);
  return LevelOf(current_.load(std::memory_order_relaxed), !name.empty());
}

// The record of the name, or the first free one, filled and claimed. Null if the table is full.
LOGCFG_MODULE* CLogConfig::ClaimRecord(WideView name) noexcept {
  for (LOGCFG_MODULE& record : view_.load(std::memory_order_relaxed)->modules) {
    if (record.name[0] == 0) {
      record.level = kNoLogLevel;
      record.flags = kClaimedRecordFlags;
      Store(record.name, name);
      return &record;
    }
    if (EqualsIgnoringCase(BoundedView(record.name), name)) return &record;
  }
  return nullptr;
}

void CLogConfig::RegisterModule(WideView name) {
  if (name.empty()) return;
  const Guard guard(*this);
  if (!guard) return;
  CopyTruncated(ownRecord_, std::size(ownRecord_), name);
  registered_.store(nullptr, std::memory_order_relaxed);
  registrant_.store(name.data(), std::memory_order_relaxed);
  RegisterUnderGuard(name);
}

void CLogConfig::RegisterUnderGuard(WideView name) {
  if (name.empty()) return;
  const WideString path = ResolveLogPath(name);
  LOGCFG_MODULE* record = ClaimRecord(name);
  if (record == nullptr) return;
  if ((record->flags & kLogPathNotFixed) != 0) Store(record->path, path);
  current_.store(record, std::memory_order_release);
  registered_.store(record, std::memory_order_release);
}

void CLogConfig::GetLogPath(WideView name, bool disableGlobal, char16_t (&path)[kLogPathUnits]) {
  const Guard guard(*this);
  if (!guard) return;
  const WideView global = BoundedView(guard.block().globalPath);
  if (name.empty()) return CopyTruncated(path, kLogPathUnits, global);
  FindModule(name);
  const LOGCFG_MODULE* current = current_.load(std::memory_order_relaxed);
  const bool isFixed = current != nullptr && (current->flags & kLogPathNotFixed) == 0;
  if (!isFixed && !global.empty() && !disableGlobal) return CopyTruncated(path, kLogPathUnits, global);
  if (current != nullptr) CopyTruncated(path, kLogPathUnits, BoundedView(current->path));
}

void CLogConfig::SetLogPath(WideView name, WideView path) {
  const Guard guard(*this);
  if (!guard) return;
  WideString full;
  if (!path.empty()) full = ResolveLogPath(path);
  // While a global path is in force it moves for all who follow it.
  if (name.empty() || guard.block().globalPath[0] != 0) return Store(guard.block().globalPath, full);
  if (full.empty()) full = ResolveLogPath(name);
  FindModule(name);
  LOGCFG_MODULE* record = current_.load(std::memory_order_relaxed);
  if (record == nullptr) record = ClaimRecord(name);
  if (record == nullptr) return;
  current_.store(record, std::memory_order_release);
  Store(record->path, full);
}

void CLogConfig::Shutdown() noexcept {
  if (mutex_.IsOpen()) {
    const platform::MutexScope scope(mutex_, kMutexMilliseconds);  // whatever its outcome
    registered_.store(nullptr);
    current_.store(nullptr);
    view_.store(nullptr);
    mapping_.Close();
  }
  mutex_.Close();
}

void CLogConfig::StartOverInChild() noexcept {
  registered_.store(nullptr);
  current_.store(nullptr);
  if (view_.exchange(nullptr) != nullptr) isForked_.store(true);
  mapping_.Close();
  mutex_.Close();
}

// --- Paths -------------------------------------------------------------------------------------------------

void CLogConfig::BuildLogFolder() {
  if (logFolder_[0] != 0) return;
  const WideString separator(1, platform::kPathSeparator);
  WideString folder = platform::LogFolderOverride();
  if (!folder.empty()) {
    if (folder.back() != platform::kPathSeparator) folder += separator;
    return CopyTruncated(logFolder_, kLogPathUnits, folder);
  }
  if (installFlags_ != PRODUCT_NONE && installFlags_ != PRODUCT_WINPE) {
    const WideString own = GetOwnModulePath();
    for (const std::uint32_t kind : {PRODUCT_ENGINE, PRODUCT_MANAGEMENT, PRODUCT_UPDATE_MANAGER}) {
      const WideString root = GetProductRoot(kind);
      if (own.empty() || root.empty() || !BeginsWithIgnoringCase(own, root)) continue;
      folder = root.back() == platform::kPathSeparator ? root : root + separator;
      folder.append(u"Logs").append(separator);
      return CopyTruncated(logFolder_, kLogPathUnits, folder);
    }
  }
  const WideString executable = platform::ExecutablePath();
  folder = executable.substr(0, executable.size() - FileNameOf(executable).size());
  if (folder.empty()) folder = separator;
  folder += installFlags_ == PRODUCT_WINPE ? u"Log" : u"Logs";
  CopyTruncated(logFolder_, kLogPathUnits, folder + separator);
}

WideView CLogConfig::LogFolder() {
  BuildLogFolder();
  return ViewOf(logFolder_);
}

WideString CLogConfig::ResolveLogPath(WideView name) {
  if (name.find(platform::kPathSeparator) != WideView::npos || name.find(u'/') != WideView::npos) {
    return WideString(name);
  }
  WideString file(name);
  if (file.empty()) file = platform::OwnModuleName();
  const std::size_t point = file.rfind(u'.');
  if (point == WideString::npos || !EqualsIgnoringCase(WideView(file).substr(point), u".Log"))
    file += u".Log";
  return WideString(LogFolder()).append(file);
}

// --- The registry ------------------------------------------------------------------------------------------

std::int32_t GetRegistryLevel(WideView name) {
  const std::scoped_lock guard(g_levels.lock);
  if (g_levels.levels == nullptr) g_levels.levels = new std::map<WideString, std::int32_t>;
  const auto known = g_levels.levels->find(WideString(name));
  if (known != g_levels.levels->end()) return known->second;
  const std::int32_t level = ReadRegistryLevel(name);
  g_levels.levels->emplace(name, level);
  return level;
}

int IsGlobalOptionDisabled(WideView name) {
  const std::scoped_lock guard(g_disabled.lock);
  if (!g_disabled.isLoaded) {
    WideString text;
    static_cast<void>(
        ReadRegistryString(u"SOFTWARE\\Torvane\\Vaultmere\\Engine\\Debug", u"DisableGlobalOption", &text));
    std::vector<WideString> names = SplitOnSpaces(text);
    std::erase(names, WideString());
    if (g_disabled.names == nullptr) g_disabled.names = new std::vector<WideString>;
    *g_disabled.names = std::move(names);
    g_disabled.isLoaded = true;
  }
  for (const WideString& listed : *g_disabled.names) {
    if (EqualsIgnoringCase(listed, name)) return 1;
  }
  return 0;
}

void ForgetRegistryLevels() noexcept {
  delete g_levels.levels;
  g_levels.levels = nullptr;
}

void ForgetGlobalOptions() noexcept {
  delete g_disabled.names;
  g_disabled.names = nullptr;
  g_disabled.isLoaded = false;
}

void FreeTablesInChild() noexcept {
  FreeInChild(g_levels);
  FreeInChild(g_disabled);
}

}  // namespace sbx
