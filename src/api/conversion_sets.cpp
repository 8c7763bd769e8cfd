#include "api/conversion_sets.h"

#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

#include "api/conversion_state.h"
#include "desc/structure_description.h"
#include "diag/dbg_log_facade.h"
#include "platform/memory_access.h"
#include "platform/module_resources.h"
#include "rules/rule_set.h"

namespace sbx {
namespace {

// What the sets in place were loaded for. Nothing ever fills it in, so it fits a null module with two zero
// ids and no other call: each call with a real module reads both documents afresh, and the sets serve one
// call, though they outlive it.
struct CacheKey {
  const void* module = nullptr;
  std::uint32_t pdbResId = 0;
  std::uint32_t ruleResId = 0;
  bool operator==(const CacheKey&) const = default;
};
constexpr CacheKey kCacheKey;

// What is said of a document while it is loaded.
struct DocumentWords {
  WideView notFound;
  WideView notRead;
  WideView notParsed;
  WideView loaded;
};
constexpr DocumentWords kPdbWords = {u"Find PDB resource failed.", u"Load PDB resource failed.",
                                     u"Load PDB resource from XML failed.", u"PDB XML Loaded"};
constexpr DocumentWords kRuleWords = {u"Find rule resource failed.", u"Load rule resource failed.",
                                      u"Load rule resource from XML failed.", u"Rule XML Loaded"};

Status Fail(Status code, WideView text) {
  g_DBGLog.Printf(0, text);
  return code;
}

// A copy of a resource's text, zero-terminated at whatever size. Always UTF-16 little-endian.
class ResourceText {
 public:
  // False if the bytes can't be read.
  bool CopyFrom(const platform::Resource& resource) {
    if (resource.bytes == nullptr) return false;
    // Two bytes for the zero, one more for the unit that an odd size breaks in two.
    text_.reset(static_cast<char16_t*>(std::calloc(std::size_t{resource.size} + 3, 1)));
    if (text_ == nullptr) throw std::bad_alloc();
    const auto address = reinterpret_cast<std::uintptr_t>(resource.bytes);
    return platform::ReadMemory(address, text_.get(), resource.size) == resource.size;
  }
  const char16_t* withoutMark() const noexcept { return text_[0] == u'\uFEFF' ? &text_[1] : &text_[0]; }

 private:
  struct Free {
    void operator()(char16_t* text) const noexcept { std::free(text); }
  };
  std::unique_ptr<char16_t[], Free> text_;
};

template <class Set>
Status LoadDocument(const void* module, std::uint32_t id, const DocumentWords& words, Set*& cached) {
  const auto resource = platform::FindXmlResource(module, static_cast<std::uint16_t>(id));
  if (!resource) return Fail(kResource, words.notFound);
  ResourceText text;
  if (!text.CopyFrom(*resource)) return Fail(kResource, words.notRead);
  auto set = std::make_unique<Set>();
  if (set->LoadFromXML(text.withoutMark()) != kOk) return Fail(kResource, words.notParsed);
  cached = set.release();
  g_DBGLog.Printf(3, words.loaded);
  return kOk;
}

}  // namespace

Status LoadConversionSets(const void* module, std::uint32_t pdbResId, std::uint32_t ruleResId) {
  const bool bothThere = g_conversion.cachedDescSet != nullptr && g_conversion.cachedRuleSet != nullptr;
  if (bothThere && CacheKey{module, pdbResId, ruleResId} == kCacheKey) return kOk;
  DeleteConversionSets();
  if (module == nullptr) return Fail(kParameter, u"Invalid module handle.");
  if (pdbResId == 0) return Fail(kParameter, u"Invalid PDB resouce ID.");
  if (ruleResId == 0) return Fail(kParameter, u"Invalid rule resouce ID.");
  const Status rc = LoadDocument(module, pdbResId, kPdbWords, g_conversion.cachedDescSet);
  if (rc != kOk) return rc;
  return LoadDocument(module, ruleResId, kRuleWords, g_conversion.cachedRuleSet);
}

void DeleteConversionSets() noexcept {
  delete std::exchange(g_conversion.cachedDescSet, nullptr);
  delete std::exchange(g_conversion.cachedRuleSet, nullptr);
}

}  // namespace sbx
