// SBXGetLastError and SBXVerifyStructSize.
#include <algorithm>

#include "api/arguments.h"
#include "api/conversion_lock.h"
#include "api/conversion_sets.h"
#include "api/conversion_state.h"
#include "api/guarded_call.h"
#include "api/last_error.h"
#include "desc/structure_description.h"
#include "diag/dbg_log_facade.h"
#include "platform/memory_access.h"

namespace sbx {
namespace {

Status Fail(Status code, WideView text) {
  g_DBGLog.Printf(0, text);
  return code;
}

// Callers ask for described names only. Anything else is a fault of the program, which stops here instead of
// going on with a size that nobody described.
[[noreturn]] void StopForUndescribedName() noexcept {
  __builtin_trap();
}

Status VerifyStructSize(const void* module, std::uint32_t pdbResId, std::uint32_t ruleResId,
                        const TextArgument& structName, std::uint64_t expectedSize,
                        std::int64_t* actualSize) {
  if (structName.isNullOrEmpty()) return Fail(kParameter, u"structure name is missed.");
  if (const Status rc = LoadConversionSets(module, pdbResId, ruleResId); rc != kOk) {
    SetLastErrorText(rc, u"The JSPDBMemDesc needs to be initialized");
    return rc;
  }
  if (g_conversion.cachedDescSet == nullptr) return Fail(kState, u"PDB desc init failed.");
  const JSStructDesc* const record = g_conversion.cachedDescSet->FindStruct(structName.view());
  if (record == nullptr) StopForUndescribedName();
  const std::int64_t size = record->size;
  StoreResult(actualSize, size);
  if (static_cast<std::uint64_t>(size) == expectedSize) return kOk;
  g_DBGLog.Printf(0, u"Structure size is changed from %d to %d.", size, expectedSize);
  return kState;
}

}  // namespace
}  // namespace sbx

extern "C" {

void SBXGetLastError(SBXChar* errorText, std::int32_t errorChars) {
  if (errorText == nullptr || errorChars < 1) return;
  char16_t text[sbx::kLastErrorUnits];
  const std::size_t length = sbx::CopyLastErrorText(text);
  const std::size_t units = std::min(length, static_cast<std::size_t>(errorChars) - 1);
  text[units] = u'\0';
  const std::size_t bytes = (units + 1) * sizeof(char16_t);
  if (sbx::platform::IsWritable(errorText, bytes)) sbx::platform::WriteMemory(errorText, text, bytes);
}

std::int32_t SBXVerifyStructSize(SBXModule hModule, std::uint32_t pdbResId, std::uint32_t ruleResId,
                                 const SBXChar* structName, std::uint64_t expectedSize,
                                 std::int64_t* actualSize) {
  return sbx::GuardedCall([&] {
    const sbx::TextArgument name(structName);
    sbx::g_DBGLog.Printf(3, u"Verify xml structure description for structure [%s]", name.forMessage());
    const sbx::ConversionLock lock;
    return sbx::VerifyStructSize(hModule, pdbResId, ruleResId, name, expectedSize, actualSize);
  });
}

}  // extern "C"
