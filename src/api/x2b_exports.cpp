// SBXXMLToBinary, SBXHandleToBuffer and SBXFreeJSHandle: XML text to a record graph, and the graph's handle.
#include <new>

#include "api/arguments.h"
#include "api/conversion_lock.h"
#include "api/conversion_sets.h"
#include "api/conversion_state.h"
#include "api/guarded_call.h"
#include "api/handle_table.h"
#include "api/last_error.h"
#include "diag/dbg_log_facade.h"
#include "platform/memory_access.h"
#include "x2b/sbxml2bin.h"

namespace sbx {
namespace {

struct Request {
  SBXModule module;
  std::uint32_t pdbResId;
  std::uint32_t ruleResId;
  const TextArgument& rootStruct;
  const TextArgument& xmlText;
  JSHandle** handleOut;
};

Status Fail(Status code, WideView text) {
  g_DBGLog.Printf(0, text);
  return code;
}

// The end message, which every way out of the call logs.
Status Finish(Status rc) noexcept {
  g_DBGLog.Printf(3, u"Convert from XML to binary end.(ret: %d)", rc);
  g_DBGLog.Printf(3, u"");
  return rc;
}

Status Prepare(const Request& request) {
  if (request.rootStruct.isNullOrEmpty()) return Fail(kParameter, u"Invalid root structure name.");
  if (request.xmlText.isNullOrEmpty()) return Fail(kParameter, u"Invalid XML.");
  const Status rc = LoadConversionSets(request.module, request.pdbResId, request.ruleResId);
  if (rc != kOk) {
    StoreLastErrorText(u"The JSPDBMemDesc needs to be initialized");
    return rc;
  }
  if (g_conversion.cachedDescSet == nullptr) return Fail(kState, u"PDB desc init failed.");
  if (g_conversion.cachedRuleSet == nullptr) return Fail(kState, u"Rule desc init failed.");
  return kOk;
}

Status Convert(const Request& request, JSHandle& handle) {
  WideView text = request.xmlText.view();
  if (text.front() == u'\uFEFF') text.remove_prefix(1);
  SBXML2Bin converter;
  const Status rc =
      GuardedCall([&] { return converter.ConvertXMLToMemory(text, request.rootStruct.view(), handle); });
  // The text serves as a format: a per cent sign in it is read as a conversion that has no argument.
  if (rc != kOk) SetLastErrorText(rc, converter.errorText());
  return rc;
}

// With the lock held.
Status XmlToBinary(const Request& request) {
  if (const Status rc = Prepare(request); rc != kOk) return rc;
  const CallerMemoryScope memory;
  JSHandle* const handle = CreateHandle();
  if (handle == nullptr) return Fail(kMemory, u"No enough memory for JSBuffer.");
  // After a failure the handle stays in the table: nobody was told of it.
  if (const Status rc = Convert(request, *handle); rc != kOk) return rc;
  if (request.handleOut == nullptr) {
    DiscardHandle(handle);
    return kOk;
  }
  GiveOutHandle(handle);
  // A place that was writable before and is no more: nobody could free what it would have held.
  if (!platform::WriteMemory(request.handleOut, &handle, sizeof(void*))) DiscardHandle(handle);
  return kOk;
}

// The argument, or null if a handle can't be stored there.
JSHandle** WritableOrNull(JSHandle** handleOut) noexcept {
  return platform::IsWritable(handleOut, sizeof(void*)) ? handleOut : nullptr;
}

}  // namespace
}  // namespace sbx

extern "C" {

std::int32_t SBXXMLToBinary(SBXModule hModule, std::uint32_t pdbResId, std::uint32_t ruleResId,
                            const SBXChar* rootStruct, const SBXChar* xmlText, JSHandle** handleOut) {
  const auto convert = [&] {
    const sbx::TextArgument root(rootStruct);
    const sbx::TextArgument xml(xmlText);
    sbx::g_DBGLog.Printf(3, u"Convert from XML to binary begin.(Root structure: %s)", root.forMessage());
    const sbx::ConversionLock lock;
    JSHandle** const out = handleOut == nullptr ? nullptr : sbx::WritableOrNull(handleOut);
    const sbx::Status rc = sbx::GuardedCall([&] {
      return sbx::XmlToBinary({hModule, pdbResId, ruleResId, root, xml, out});
    });
    return sbx::Finish(rc);
  };
  return sbx::GuardedCall(convert, [] { sbx::Finish(sbx::kMemory); });
}

std::int32_t SBXHandleToBuffer(JSHandle* handle, void** bufferOut, std::uint32_t* sizeOut) {
  void* root = nullptr;
  std::uint32_t totalSize = 0;
  if (handle == nullptr || !sbx::QueryHandle(handle, root, totalSize)) {
    return sbx::Fail(sbx::kParameter, u"Invalid parameters for converting handle to buffer.");
  }
  sbx::StoreResult(bufferOut, root);
  sbx::StoreResult(sizeOut, totalSize);
  return sbx::kOk;
}

std::int32_t SBXFreeJSHandle(JSHandle* handle) {
  if (handle != nullptr) sbx::FreeHandle(handle);
  return sbx::kOk;
}

}  // extern "C"
