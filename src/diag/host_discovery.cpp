#include "diag/host_discovery.h"

#include "base/numbers.h"
#include "platform/module_identity.h"

namespace sbx {
namespace {

constexpr std::uint32_t kKindsByPrecedence[] = {PRODUCT_ENGINE, PRODUCT_MANAGEMENT, PRODUCT_UPDATE_MANAGER};

const char16_t* KeyOf(std::uint32_t kind) noexcept {
  switch (kind) {
    case PRODUCT_ENGINE:
      return u"SOFTWARE\\Torvane\\Vaultmere\\Engine";
    case PRODUCT_MANAGEMENT:
      return u"SOFTWARE\\Torvane\\Vaultmere\\Management";
    case PRODUCT_UPDATE_MANAGER:
      return u"SOFTWARE\\Torvane\\Vaultmere";
    default:
      return nullptr;
  }
}

bool DoesKeyExist(std::uint32_t kind) {
  LOGUTILS::CRegistry registry;
  return registry.key.Open(KeyOf(kind)) == platform::kStatusSuccess;
}

// Reads a number given as text; an absent or empty one leaves `*out`.
void ReadNumberText(const WideString& key, const WideString& value, std::int32_t* out) {
  WideString text;
  if (ReadRegistryString(key, value, &text) == platform::kStatusSuccess && !text.empty())
    *out = ReadLong(text);
}

std::uint32_t StatusOfVersion(std::int32_t major, std::int32_t minor) noexcept {
  return major != 0 || minor != 0 ? platform::kStatusSuccess : platform::kStatusNotFound;
}

std::uint32_t EngineVersion(std::int32_t* major, std::int32_t* minor, std::int32_t* update) {
  const WideString key = WideString(KeyOf(PRODUCT_ENGINE)) + u"\\Version";
  LOGUTILS::CRegistry registry;
  if (const std::uint32_t status = registry.key.Open(key); status != platform::kStatusSuccess) return status;
  ReadNumberText(key, u"Major", major);
  ReadNumberText(key, u"Minor", minor);
  ReadNumberText(key, u"UpdateVersionNumber", update);
  return StatusOfVersion(*major, *minor);
}

std::uint32_t ManagementVersion(std::int32_t* major, std::int32_t* minor, std::int32_t* update) {
  const WideString key = WideString(KeyOf(PRODUCT_MANAGEMENT)) + u"\\Console";
  LOGUTILS::CRegistry registry;
  if (const std::uint32_t status = registry.key.Open(key); status != platform::kStatusSuccess) return status;
  WideString version;
  static_cast<void>(ReadRegistryString(key, u"Version", &version));
  if (version.empty()) return platform::kStatusNotFound;
  const std::vector<WideString> pieces = SplitOnDots(version);
  *major = ReadLong(pieces[0]);
  if (pieces.size() > 1) *minor = ReadLong(pieces[1]);
  ReadNumberText(key, u"UpdateVersionNumber", update);
  return StatusOfVersion(*major, *minor);
}

std::vector<WideString> Split(WideView text, char16_t separator) {
  std::vector<WideString> pieces;
  for (;;) {
    const std::size_t end = text.find(separator);
    if (end == WideView::npos) break;
    if (end > 0) pieces.emplace_back(text.substr(0, end));
    text.remove_prefix(end + 1);
  }
  pieces.emplace_back(text);
  return pieces;
}

}  // namespace

int IsPreInstallEnvironment() {
  WideString commandLine;
  if (ReadRegistryString(u"SYSTEM\\Setup", u"CmdLine", &commandLine) != platform::kStatusSuccess) return 0;
  return commandLine.find(u"winpeshl.exe") != WideString::npos ? 1 : 0;
}

std::uint32_t DetectInstall() {
  if (IsPreInstallEnvironment() != 0) return PRODUCT_WINPE;
  std::uint32_t flags = PRODUCT_NONE;
  if (DoesKeyExist(PRODUCT_ENGINE)) flags |= PRODUCT_ENGINE | PRODUCT_UPDATE_MANAGER;
  if (DoesKeyExist(PRODUCT_MANAGEMENT)) flags |= PRODUCT_MANAGEMENT | PRODUCT_UPDATE_MANAGER;
  return flags;
}

std::uint32_t GetProductKind() {
  if (IsPreInstallEnvironment() != 0) return PRODUCT_WINPE;
  const WideString path = GetOwnModulePath();
  if (path.empty()) return PRODUCT_NONE;
  for (const std::uint32_t kind : kKindsByPrecedence) {
    const WideString root = GetProductRoot(kind);
    if (!root.empty() && BeginsWithIgnoringCase(path, root)) return kind;
  }
  return PRODUCT_NONE;
}

std::uint32_t GetProductKeyPath(std::uint32_t kind, char16_t* buffer, std::size_t units) {
  const WideView key = ViewOf(KeyOf(kind));
  if (key.empty()) return platform::kStatusInvalidParameter;
  if (key.size() >= units) return platform::kStatusInsufficientBuffer;
  CopyTruncated(buffer, units, key);
  return platform::kStatusSuccess;
}

WideString GetProductRoot(std::uint32_t kind) {
  const WideView base = ViewOf(KeyOf(kind));
  if (base.empty()) return {};
  WideString key(base);
  if (kind == PRODUCT_ENGINE) key += u"\\InstallPath";
  WideString root;
  const WideString value = kind == PRODUCT_UPDATE_MANAGER ? u"RootPath" : u"Path";
  if (ReadRegistryString(key, value, &root) != platform::kStatusSuccess || root.empty()) return {};
  if (kind == PRODUCT_UPDATE_MANAGER) {
    if (root.back() != platform::kPathSeparator) root += platform::kPathSeparator;
    root += u"Update Manager";
  }
  return root.size() < kLogPathUnits ? root : WideString();
}

std::uint32_t GetProductVersion(std::uint32_t kind, std::int32_t* major, std::int32_t* minor,
                                std::int32_t* update) {
  switch (kind) {
    case PRODUCT_ENGINE:
      return EngineVersion(major, minor, update);
    case PRODUCT_MANAGEMENT:
      return ManagementVersion(major, minor, update);
    case PRODUCT_UPDATE_MANAGER:
      if (EngineVersion(major, minor, update) == platform::kStatusSuccess) return platform::kStatusSuccess;
      return ManagementVersion(major, minor, update);
    default:
      return platform::kStatusNotFound;
  }
}

WideString GetOwnModulePath() {
  WideString path = platform::OwnModulePath();
  if (path.size() >= kLogPathUnits) path.resize(kLogPathUnits - 1);
  return path;
}

void GetOwnModuleName(char16_t* buffer, std::size_t units) {
  const WideString name = platform::OwnModuleName();
  if (name.size() < units) CopyTruncated(buffer, units, name);
}

std::uint32_t ReadRegistryDword(const WideString& key, const WideString& value, std::uint32_t* out) {
  LOGUTILS::CRegistry registry;
  if (const std::uint32_t status = registry.key.Open(key); status != platform::kStatusSuccess) return status;
  std::uint32_t number = 0;
  std::size_t size = sizeof number;
  const std::uint32_t status = registry.key.Query(value, &number, &size);
  if (status == platform::kStatusSuccess) *out = number;
  return status;
}

std::uint32_t ReadRegistryString(const WideString& key, const WideString& value, WideString* out) {
  LOGUTILS::CRegistry registry;
  if (const std::uint32_t status = registry.key.Open(key); status != platform::kStatusSuccess) return status;
  std::size_t size = 0;
  std::uint32_t status = registry.key.Query(value, nullptr, &size);
  if (status != platform::kStatusSuccess) return status;
  // Room for a terminator, which a stored text may lack.
  std::vector<char16_t> text(size / sizeof(char16_t) + 2);
  status = registry.key.Query(value, text.data(), &size);
  if (status == platform::kStatusSuccess) *out = text.data();
  return status;
}

std::vector<WideString> SplitOnSpaces(WideView text) {
  return Split(text, u' ');
}
std::vector<WideString> SplitOnDots(WideView text) {
  return Split(text, u'.');
}

WideView FileNameOf(WideView path) noexcept {
  const std::size_t separator = path.rfind(platform::kPathSeparator);
  return separator == WideView::npos ? path : path.substr(separator + 1);
}

bool BeginsWithIgnoringCase(WideView text, WideView prefix) noexcept {
  return text.size() >= prefix.size() && EqualsIgnoringCase(text.substr(0, prefix.size()), prefix);
}

}  // namespace sbx
