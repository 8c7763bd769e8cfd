#include "diag/file_output.h"

#include <algorithm>
#include <limits>
#include <mutex>
#include <new>

#include "base/numbers.h"
#include "diag/log_line.h"
#include "platform/files.h"
#include "platform/module_identity.h"
#include "platform/narrow_text.h"
#include "platform/wall_clock.h"

namespace sbx {
namespace {

constexpr WideView kFirstSuffix = u".Log";
constexpr std::uint32_t kMutexMilliseconds = 5000;
constexpr std::int32_t kDefaultLevel = 2;
constexpr std::size_t kMutexNameUnits = 260;
constexpr std::size_t kNarrowTextBytes = 1024;
constexpr std::size_t kTailUnits = 260;

std::uint32_t ProcessId() noexcept {
  return platform::CurrentProcessId();
}
std::uint32_t ThreadId() noexcept {
  return platform::CurrentThreadId();
}

std::int32_t LeadingNumber(WideView text) noexcept {
  std::size_t digits = 0;
  while (digits < text.size() && text[digits] >= u'0' && text[digits] <= u'9') ++digits;
  return ReadLong(text.substr(0, digits));
}

// Narrow text for a file, or an empty one if it can't be converted or has no room.
std::string NarrowText(WideView text, std::size_t capacity) {
  std::string narrow = platform::Narrow(text, platform::NarrowPage::kAnsi).value_or(std::string());
  if (narrow.size() >= capacity) narrow.clear();
  return narrow;
}

WideString WideText(std::string_view text, std::size_t capacity) {
  WideString wide = platform::Widen(text, platform::NarrowPage::kAnsi).value_or(WideString());
  if (wide.size() >= capacity) wide.clear();
  return wide;
}

// The size as the rotation sees it.
std::uint32_t LowHalf(std::uint64_t size) noexcept {
  return static_cast<std::uint32_t>(size & 0xFFFFFFFF);
}
std::uint32_t SizeOfPath(const WideString& path) {
  return LowHalf(platform::FileSizeOf(path).value_or(0));
}

platform::LogFile::Piece PieceOf(WideView text) noexcept {
  return {text.data(), text.size() * sizeof(char16_t)};
}
platform::LogFile::Piece PieceOf(std::string_view text) noexcept {
  return {text.data(), text.size()};
}

const char16_t* PlatformName(std::uint32_t architecture) noexcept {
  switch (architecture) {
    case 0:
      return u"X86";
    case 6:
      return u"IA64";
    case 9:
      return u"X64";
    default:
      return u"Unknown";
  }
}

struct ProductVersion {
  std::int32_t major = 0;
  std::int32_t minor = 0;
  std::int32_t update = 0;
};

ProductVersion ReadProductVersion(std::uint32_t installFlags) {
  std::uint32_t kind = GetProductKind();
  // Of the install flags only the engine's counts here, unlike in the look-up of levels.
  if ((kind == PRODUCT_NONE || kind == PRODUCT_UPDATE_MANAGER) && (installFlags & PRODUCT_ENGINE) != 0) {
    kind = PRODUCT_ENGINE;
  }
  ProductVersion version;
  if (kind != PRODUCT_NONE && kind != PRODUCT_WINPE) {
    static_cast<void>(GetProductVersion(kind, &version.major, &version.minor, &version.update));
    return version;
  }
  const platform::FileVersion file = platform::ExecutableFileVersion();
  version.major = static_cast<std::int32_t>(file.ms >> 16);
  version.minor = static_cast<std::int32_t>(file.ms & 0xFFFF);
  version.update = static_cast<std::int32_t>(file.ls >> 8 & 0xFF);
  return version;
}

}  // namespace

RotatedName SplitRotatedName(WideView path) {
  RotatedName name{WideString(path), 0};
  if (path.size() < 5 || !EqualsIgnoringCase(path.substr(path.size() - 4), kFirstSuffix)) return name;
  name.base.resize(path.size() - 4);
  const std::size_t point = name.base.rfind(u'.');
  if (point == WideString::npos) return name;
  const WideView digits = WideView(name.base).substr(point + 1);
  const std::int32_t number = digits.size() == 8 ? LeadingNumber(digits) : 0;
  if (number < 1) return name;
  name.base.resize(point);
  name.number = number;
  return name;
}

bool SameLogFile(WideView a, WideView b) {
  return EqualsIgnoringCase(a, b) || EqualsIgnoringCase(SplitRotatedName(a).base, SplitRotatedName(b).base);
}

namespace NSDBG {

CFileOutput::CFileOutput(CLogConfig& config, std::uint32_t fullBytes)
    : config_(config), fullBytes_(fullBytes) {
  GetOwnModuleName(ownModule_, std::size(ownModule_));
  GetOwnModuleName(moduleName_, std::size(moduleName_));
  const WideString executable = platform::ExecutablePath();
  CopyTruncated(hostProcess_, std::size(hostProcess_), FileNameOf(executable));
  // NOLINTNEXTLINE(cppcoreguidelines-prefer-member-initializer): by the name that was found above
  disableGlobal_ = IsGlobalOptionDisabled(hostProcess_) != 0;

  // A setting for the executable beats one for the module.
  std::int32_t level = GetRegistryLevel(hostProcess_);
  if (level == kNoLogLevel) level = GetRegistryLevel(ownModule_);
  if (level == kNoLogLevel) level = kDefaultLevel;
  level_.store(level);

  config_.RegisterModule(moduleName_);
  config_.GetLogPath(moduleName_, disableGlobal_, logPath_);
}

CFileOutput::~CFileOutput() {
  const std::scoped_lock guard(lock_);
  CloseAll();
}

void CFileOutput::StartOverInChild(bool isLockLost) noexcept {
  if (isLockLost) {
    new (&lock_) platform::CriticalSection();
    new (&openedFiles_) std::vector<WideString>();  // may have been growing; what it held is left behind
  }
  // A process of its own: should the parent die in the middle of a line, the child has to notice.
  openedFiles_.clear();
  CloseFile();
}

// --- One message -------------------------------------------------------------------------------------------

void CFileOutput::RefreshLevel() {
  std::int32_t live = kNoLogLevel;
  if (!config_.ReadLevel(moduleName_, &live)) live = config_.GetModuleLevel(moduleName_);
  if (live >= 0 && live != level_.load(std::memory_order_relaxed))
    level_.store(live, std::memory_order_relaxed);
}

std::int32_t CFileOutput::GetLogLevel() {
  try {
    RefreshLevel();
  } catch (const std::bad_alloc&) {  // the level that was known stays
  }
  return level_.load(std::memory_order_relaxed);
}

// All that is the same for both kinds of text. Whatever fails here loses the message and nothing else.
template <class WriteLine>
void CFileOutput::Log(std::int32_t level, WriteLine writeLine) noexcept {
  try {
    RefreshLevel();
    if (level > level_.load(std::memory_order_relaxed)) return;
    const std::scoped_lock guard(lock_);
    if (!EnsureOpen()) return;
    const platform::MutexScope scope(fileMutex_, kMutexMilliseconds);
    if (scope.result() == platform::WaitResult::kAbandoned) {
      // Counts as not obtained. The dead writer's line is ended before anyone else writes.
      MendTail();
      return;
    }
    if (scope.result() != platform::WaitResult::kObtained) return;
    CheckEncoding();
    const bool isNew = file_.Size() <= 2;
    if (isTailDoubtful_) MendTail();
    if (isNew) WriteSummary();
    writeLine();
  } catch (const std::bad_alloc&) {
  }
}

void CFileOutput::LogW(std::int32_t level, std::int32_t errorCode, const char16_t* text) {
  Log(level, [&] {
    const Message prefix = LinePrefix(platform::LocalTimeNow(), level, ProcessId(), ThreadId(),
                                      static_cast<std::uint32_t>(errorCode));
    WriteLineW(prefix.view(), ViewOf(text), true);
  });
}

void CFileOutput::LogA(std::int32_t level, std::int32_t errorCode, const char* text) {
  Log(level, [&] {
    const Message prefix = LinePrefix(platform::LocalTimeNow(), level, ProcessId(), ThreadId(),
                                      static_cast<std::uint32_t>(errorCode));
    WriteLineA(NarrowText(prefix.view(), kNarrowTextBytes), text == nullptr ? "" : text, true);
  });
}

// --- The file ----------------------------------------------------------------------------------------------

bool CFileOutput::EnsureOpen() {
  if (ResolveFile() && (fileMutex_.IsOpen() || OpenMutex())) return true;
  CloseAll();
  return false;
}

bool CFileOutput::OpenMutex() {
  if (logPath_[0] == 0) {
    DBGTrace(u"[%d:%d] Failed to create mutex. File name is empty\r\n", ProcessId(), ThreadId());
    return false;
  }
  // Writers that spell a path in different case share one mutex.
  WideString name(ViewOf(logPath_).substr(0, kMutexNameUnits - 1));
  std::replace(name.begin(), name.end(), u'\\', u'/');
  std::transform(name.begin(), name.end(), name.begin(), AsciiUpper);
  name.insert(0, u"Global\\");
  if (name.size() > kMutexNameUnits - 1) name.resize(kMutexNameUnits - 1);
  if (platform::IsOpened(fileMutex_.Create(name))) return true;
  DBGTrace(u"[%d:%d] Failed to create mutex with name [%s]. ERR=%d\r\n", ProcessId(), ThreadId(), name,
           platform::LastErrorNumber());
  return false;
}

bool CFileOutput::ResolveFile() {
  char16_t wanted[kLogPathUnits] = {};
  config_.GetLogPath(moduleName_, disableGlobal_, wanted);
  if (file_.IsDeleted()) CloseFile();  // where an open file can be deleted: lines written there would be lost
  bool isFirst = !file_.IsOpen();
  bool isFull = false;
  if (!SameLogFile(logPath_, wanted)) {
    CloseFile();
    CopyTruncated(logPath_, kLogPathUnits, wanted);
    config_.SetLogPath(moduleName_, logPath_);
    isFull = SizeOfPath(logPath_) >= fullBytes_;
    if (isFull) isFirst = true;
  } else {
    const std::uint32_t size = file_.IsOpen() ? LowHalf(file_.Size()) : SizeOfPath(wanted);
    isFull = size >= fullBytes_;
    if (isFull) CloseFile();
  }
  if (isFull && !RollForward()) return false;
  if (!file_.IsOpen() && !OpenFile(isFirst)) return false;
  if (!isFileVersionRead_) ReadFileVersion();
  return true;
}

bool CFileOutput::RollForward() {
  const WideString previous = logPath_;
  RotatedName name = SplitRotatedName(logPath_);
  do {
    if (name.number == std::numeric_limits<std::int32_t>::max()) return false;
    ++name.number;
    CopyTruncated(logPath_, kLogPathUnits, Message(u"%s.%08d.log", name.base, name.number).view());
  } while (SizeOfPath(logPath_) >= fullBytes_);
  DBGTrace(u"[%d:%d] Redirect file from [%s] to [%s]\r\n", ProcessId(), ThreadId(), previous, logPath_);
  config_.SetLogPath(moduleName_, logPath_);
  return true;
}

bool CFileOutput::OpenFile(bool isFirst) {
  if (isFirst) PrepareLogFolder(logPath_);
  if (!file_.Open(logPath_)) {
    DBGTrace(u"[%d:%d] Failed to create file [%s]. ERR=%d\r\n", ProcessId(), ThreadId(), logPath_,
             platform::LastErrorNumber());
    return false;
  }
  isTailDoubtful_ = IsFirstOpening();
  return true;
}

// Whether this process opens the file for the first time, and so doesn't know how it was left.
bool CFileOutput::IsFirstOpening() {
  if (std::find(openedFiles_.begin(), openedFiles_.end(), logPath_) != openedFiles_.end()) return false;
  openedFiles_.emplace_back(logPath_);
  return true;
}

void CFileOutput::CloseFile() noexcept {
  file_.Close();
  fileMutex_.Close();
}

void CFileOutput::CloseAll() noexcept {
  CloseFile();
  fileVersionLS_ = 0;
  isFileVersionRead_ = false;
}

void CFileOutput::ReadFileVersion() noexcept {
  const platform::FileVersion version = platform::OwnFileVersion();
  fileVersionLS_ = version.ls;
  isFileVersionRead_ = version.ms != 0 || version.ls != 0;  // else it is asked for with every message
}

void CFileOutput::PrepareLogFolder(WideView path) {
  if (path.empty()) return;
  const std::size_t separator = path.rfind(platform::kPathSeparator);
  if (separator == WideView::npos || separator == 0) return;
  const WideString folder(path.substr(0, separator));
  if (!platform::CreateDirectoryTree(folder)) return;
  platform::AdmitLocalServices(folder);
  // Only the product's log folder is compressed; without its last separator it still fits.
  const WideView product = config_.LogFolder();
  if (BeginsWithIgnoringCase(product, folder)) platform::CompressFolder(folder);
}

// --- The content -------------------------------------------------------------------------------------------

void CFileOutput::CheckEncoding() noexcept {
  constexpr unsigned char kMark[] = {0xFF, 0xFE};
  if (file_.Size() < 3) {
    if (!isWideFile_) return;
    platform::LogFile::Piece mark[] = {{kMark, sizeof kMark}};
    if (file_.SeekToStart()) file_.Write(mark);
    static_cast<void>(file_.Flush());
    return;
  }
  unsigned char first[2] = {};
  if (!file_.SeekToStart()) return;
  isWideFile_ =
      file_.Read(first, sizeof first) == sizeof first && first[0] == kMark[0] && first[1] == kMark[1];
}

// Ends a line that its writer did not live to end: completes a half unit and the line end. One write, so that
// a mender's own death leaves something that can be mended. A message may hold line feeds, so only a whole CR
// LF counts as an end.
void CFileOutput::MendTail() noexcept {
  isTailDoubtful_ = false;
  const std::uint64_t size = file_.Size();
  if (size == 0 || (isWideFile_ && size < 3)) return;  // a new file, whose mark is written anew
  if (size >= 3) CheckEncoding();
  const std::size_t unit = isWideFile_ ? 2 : 1;
  const std::size_t half = size % unit;
  // The last two units; a half one is completed by a zero.
  unsigned char bytes[4] = {};
  const std::size_t wanted = std::min<std::uint64_t>(2 * unit - half, size);
  if (!file_.SeekBeforeEnd(wanted) || file_.Read(bytes, wanted) != wanted) return;
  const std::size_t units = (wanted + half) / unit;
  const auto unitAt = [&](std::size_t i) {
    return isWideFile_ ? bytes[2 * i] | bytes[2 * i + 1] << 8 : bytes[i];
  };
  const int last = unitAt(units - 1);
  const bool isEnded = last == '\n' && units == 2 && unitAt(0) == '\r';

  unsigned char repair[5] = {};
  std::size_t length = half;
  const auto append = [&](char character) {
    repair[length] = static_cast<unsigned char>(character);
    length += unit;
  };
  if (!isEnded && last != '\r') append('\r');
  if (!isEnded) append('\n');
  platform::LogFile::Piece piece[] = {{repair, length}};
  if (length != 0 && file_.SeekToEnd()) file_.Write(piece);
}

void CFileOutput::WriteSummary() {
  const ProductVersion product = ReadProductVersion(config_.installFlags());
  const LOGUTILS::CWinVer system;
  const LOGUTILS::CSysInfo machine;
  const Message prefix = LinePrefix(platform::LocalTimeNow(), level_.load(), ProcessId(), ThreadId(), 0);
  const auto line = [&](WideView text) { WriteLineW(prefix.view(), text, false); };

  WriteLineW(u"", u"[   Date        Time      Level  PID     TID   ErrCode    ] .......", false);
  line(u"================ SUMMARY LOG =======================");
  constexpr WideView kProduct = u"torvane Vaultmere";
  if (product.update == 0) {
    line(Message(u"Product Info: [Torvane Ltd] [%s] Ver[r%d.%d]", kProduct, product.major, product.minor)
             .view());
  } else {
    line(Message(u"Product Info: [Torvane Ltd] [%s] Ver[r%d.%d (Update %d)]", kProduct, product.major,
                 product.minor, product.update)
             .view());
  }
  line(Message(u"OS      Info: Computer Name[%s] Version[%d.%d] Platform[%s]", platform::ComputerName(),
               system.version.major, system.version.minor, PlatformName(machine.processorArchitecture))
           .view());
  line(u"Log level of each module can be controlled by registry key:");
  line(u"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Engine\\Debug\\ModuleName:DWORD]");
  line(u"=====================================================");
}

Message CFileOutput::Tail() const noexcept {
  return Message(u"   {%s::%s(%d.%d)}", hostProcess_, ownModule_, fileVersionLS_ >> 16,
                 fileVersionLS_ & 0xFFFF);
}

void CFileOutput::WriteLineW(WideView header, WideView text, bool withTail) {
  if (!isWideFile_) {
    return WriteLineA(NarrowText(header, kNarrowTextBytes), NarrowText(text, kNarrowTextBytes), withTail);
  }
  const Message tail = Tail();
  const WideView shown = withTail ? tail.view().substr(0, kTailUnits - 1) : WideView();
  platform::LogFile::Piece pieces[] = {PieceOf(header), PieceOf(text), PieceOf(shown),
                                       PieceOf(WideView(u"\r\n"))};
  WritePieces(pieces);
}

void CFileOutput::WriteLineA(std::string_view header, std::string_view text, bool withTail) {
  if (isWideFile_) {
    return WriteLineW(WideText(header, kNarrowTextBytes), WideText(text, kNarrowTextBytes), withTail);
  }
  std::string tail;
  if (withTail) tail = NarrowText(Tail().view(), kNarrowTextBytes).substr(0, kTailUnits - 1);
  platform::LogFile::Piece pieces[] = {PieceOf(header), PieceOf(text), PieceOf(tail),
                                       PieceOf(std::string_view("\r\n"))};
  WritePieces(pieces);
}

void CFileOutput::WritePieces(std::span<platform::LogFile::Piece> pieces) noexcept {
  if (!file_.IsOpen()) return;
  if (!file_.SeekToEnd()) {
    DBGTrace(u"[%d:%d] Failed to SetFilePointer. ERR=%d, [%d]File=%s\r\n", ProcessId(), ThreadId(),
             platform::LastErrorNumber(), 0, logPath_);
    return;
  }
  file_.Write(pieces);
  constexpr const char16_t* kComplaints[] = {
      u"[%d:%d] Failed to Write log header. ERR=%d, [%d]File=%s\r\n",
      u"[%d:%d] Failed to Write log message. ERR=%d, [%d]File=%s\r\n",
      u"[%d:%d] Failed to Write log tail. ERR=%d, [%d]File=%s\r\n",
      u"[%d:%d] Failed to Write [rn]. ERR=%d, [%d]File=%s\r\n",
  };
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    if (pieces[i].written) continue;
    DBGTrace(kComplaints[i], ProcessId(), ThreadId(), platform::LastErrorNumber(), 0, logPath_);
  }
}

}  // namespace NSDBG
}  // namespace sbx
