// SBXBinaryToXML_Text and SBXBinaryToXML_File: a record graph in memory, as text or as a file.
//
// Both do the same but for their words and for what becomes of the document. Whatever ends a conversion after
// its sets are loaded goes through Finish; what ends it before leaves without the end message.
#include "api/b2x_exports.h"

#include <limits>
#include <memory>
#include <new>
#include <optional>

#include "api/arguments.h"
#include "api/conversion_lock.h"
#include "api/conversion_sets.h"
#include "api/conversion_state.h"
#include "api/guarded_call.h"
#include "api/last_error.h"
#include "api/text_files.h"
#include "b2x/js_bin2xml.h"
#include "diag/dbg_log_facade.h"
#include "platform/memory_access.h"
#include "present/presentation.h"
#include "rules/rule_set.h"

namespace sbx {

constinit std::uint64_t g_exportUnitLimit = kDocumentUnitLimit;

namespace {

// The caller's order, as both exports take it.
struct Request {
  SBXModule module;
  std::uint32_t pdbResId;
  std::uint32_t ruleResId;
  const TextArgument& rootStruct;
  std::uintptr_t binary;
  std::int32_t binarySize;
};

// Where the two exports say different things.
struct ExportWords {
  WideView invalidParameters;
  WideView noSet;
  WideView end;
};
constexpr ExportWords kTextWords = {u"Invalid parameters for converting to text.",
                                    u"Init error for converting to text.",
                                    u"Convert from binary to XML text end.(ret: %d)\n"};
constexpr ExportWords kFileWords = {u"Invalid parameters for converting to file.",
                                    u"Init error for converting to file.",
                                    u"Convert from binary to XML file end.(ret: %d)\n"};

Status Fail(Status code, WideView text) {
  g_DBGLog.Printf(0, text);
  return code;
}

// The end of a conversion that ran: one last write of the error slot for a failure, and the end message.
Status Finish(const ExportWords& words, Status rc, WideView errorText) noexcept {
  if (rc != kOk) StoreLastErrorText(errorText);
  g_DBGLog.Printf(3, words.end, rc);
  g_DBGLog.Printf(3, u"");
  return rc;
}

// What remains to be done when memory was refused.
void FinishRefused(const ExportWords& words) {
  const ConversionLock lock;
  Finish(words, kMemory, {});
}

// Parameters and sets. A failure here leaves the call without the end message.
Status Prepare(const Request& request, bool parametersGiven, const ExportWords& words) {
  if (!parametersGiven) {
    StoreLastErrorText(u"Invalid parameters");
    return Fail(kParameter, words.invalidParameters);
  }
  const Status rc = LoadConversionSets(request.module, request.pdbResId, request.ruleResId);
  if (rc != kOk) {
    StoreLastErrorText(u"The JSPDBMemDesc needs to be initialized");
    return rc;
  }
  if (g_conversion.cachedDescSet != nullptr) return kOk;
  StoreLastErrorText(u"The JSPDBMemDesc needs to be initialized");
  return Fail(kState, words.noSet);
}

// The converter with its own copy of the descriptions and its two hooks.
Status SetUp(JSBin2XML& converter) {
  converter.memory = g_conversion.callerMemory;
  converter.structHook = B2XApplyRuleForJSStruct;
  converter.itemHook = ApplyItemPresentation;
  try {
    converter.desc = g_conversion.cachedDescSet->Clone();
  } catch (const std::bad_alloc&) {
    return Fail(kMemory, u"No enough memory for initializtion.");
  }
  return kOk;
}

// From the root record's name to the document of its graph.
Status ConvertRoot(const Request& request, JSBin2XML& converter, XMLDOMHelper& helper) {
  if (const Status rc = SetUp(converter); rc != kOk) return rc;
  if (request.rootStruct.isNullOrEmpty()) return Fail(kParameter, u"Invalid parameters for converting.");

  const WideView rootName = request.rootStruct.view();
  JSStructDesc* const root = converter.desc->FindStruct(rootName);
  if (root == nullptr) {
    g_DBGLog.Printf(0, u"No PDB info for struct %s.", rootName);
    converter.SetErrorText(u"Can't find the PDB info for the struct %s", rootName);
    return kDescription;
  }
  g_conversion.rootStructName = rootName.data();
  g_conversion.rootStructNameUnits = rootName.size();
  converter.helper = &helper;
  g_conversion.rootBinary = request.binary;

  // A size in the description is never negative; the caller's has been found to be above 0.
  if (request.binarySize < root->size) {
    g_DBGLog.Printf(0, u"Invalid PDB info for struct %s(size: %d, buffer size: %d).", rootName, root->size,
                    request.binarySize);
    return kDescription;
  }
  if (const Status rc = helper.CreateDocument(); rc != kOk) {
    converter.SetErrorText(u"Can't create XML for job script");
    return rc;
  }
  return converter.ConvertStruct(root, request.binary, JSBin2XML::Element::kOwn);
}

// The document's text. Null, after a log line and nothing more, if it can't be had: it then counts as empty.
std::unique_ptr<xml::SerializedText> ReadDocument(XMLDOMHelper& helper) {
  if (!helper.isOpen()) {
    g_DBGLog.Printf(0, u"Init error for getting XML content.");
    return nullptr;
  }
  auto text = helper.GetXml();
  if (text != nullptr && text->Units() != 0) return text;
  g_DBGLog.Printf(0, u"COM error for getting XML content.");
  return nullptr;
}

// Both exports with the lock held. `deliver` takes the document's text and gives the code that the call ends
// with; it writes the error slot itself if that has to hold a text.
template <class Deliver>
Status BinaryToXml(const Request& request, bool parametersGiven, const ExportWords& words, Deliver deliver) {
  if (const Status rc = Prepare(request, parametersGiven, words); rc != kOk) return rc;
  const CallerMemoryScope memory;
  JSBin2XML converter;
  XMLDOMHelper helper(g_exportUnitLimit);
  Status rc = ConvertRoot(request, converter, helper);
  if (rc != kOk) return Finish(words, rc, converter.errorText);
  WideView errorText;
  const auto text = ReadDocument(helper);
  rc = text != nullptr && text->Units() > g_exportUnitLimit ? kMemory : deliver(text.get(), errorText);
  return Finish(words, rc, errorText);
}

// The caller's buffer for text, by the size protocol.
class TextBuffer final : private xml::TextSink {
 public:
  TextBuffer(SBXChar* xmlOut, const IntArgument& xmlSize, bool addBom) noexcept
      : next_(reinterpret_cast<unsigned char*>(xmlOut)), xmlSize_(xmlSize), addBom_(addBom) {}

  Status Take(const xml::SerializedText* text, WideView& errorText) {
    const std::uint64_t units = (text == nullptr ? 0 : text->Units()) + (addBom_ ? 2 : 1);
    if (units > std::numeric_limits<std::int32_t>::max()) return kMemory;
    const auto need = static_cast<std::int32_t>(units);
    const std::int32_t given = xmlSize_.value();
    if (given < need) {
      g_DBGLog.Printf(2, u"Need more buffers for the job script XML(Size: %d, Need: %d).", given, need);
      xmlSize_.Store(need);
      errorText = u"Need more buffers for the job script XML";
      return kBuffer;
    }
    xmlSize_.Store(need);
    if (next_ == nullptr || Write(text)) return kOk;
    return kAddress;
  }

 private:
  static constexpr char16_t kEnd = u'\0';

  // The realisation of a document hands its text over in large pieces; no second copy of the whole is made.
  bool Write(const xml::SerializedText* text) {
    if (addBom_ && !Append(u"\uFEFF")) return false;
    if (text != nullptr && !text->WriteTo(*this)) return false;
    return Append(WideView(&kEnd, 1));
  }
  bool Append(WideView piece) override {
    const std::size_t bytes = piece.size() * sizeof(char16_t);
    if (!platform::WriteMemory(next_, piece.data(), bytes)) return false;
    next_ += bytes;
    return true;
  }

  unsigned char* next_;
  const IntArgument& xmlSize_;
  bool addBom_;
};

}  // namespace
}  // namespace sbx

extern "C" {

std::int32_t SBXBinaryToXML_Text(SBXModule hModule, std::uint32_t pdbResId, std::uint32_t ruleResId,
                                 const SBXChar* rootStruct, const void* binary, std::int32_t binarySize,
                                 SBXChar* xmlOut, std::int32_t* xmlSize, std::int32_t addBom) {
  const auto convert = [&] {
    const sbx::TextArgument root(rootStruct);
    sbx::g_DBGLog.Printf(3, u"Convert from binary to XML text begin.(Root structure: %s)", root.forMessage());
    const sbx::ConversionLock lock;
    const sbx::IntArgument size(xmlSize);
    const bool parametersGiven = binary != nullptr && binarySize >= 1 && !size.isNull();
    const auto address = reinterpret_cast<std::uintptr_t>(binary);
    sbx::TextBuffer buffer(xmlOut, size, addBom != 0);
    return sbx::BinaryToXml({hModule, pdbResId, ruleResId, root, address, binarySize}, parametersGiven,
                            sbx::kTextWords,
                            [&](const sbx::xml::SerializedText* text, sbx::WideView& errorText) {
                              return buffer.Take(text, errorText);
                            });
  };
  return sbx::GuardedCall(convert, [] { sbx::FinishRefused(sbx::kTextWords); });
}

std::int32_t SBXBinaryToXML_File(SBXModule hModule, std::uint32_t pdbResId, std::uint32_t ruleResId,
                                 const SBXChar* rootStruct, const void* binary, std::int32_t binarySize,
                                 const SBXChar* xmlPath) {
  const auto convert = [&] {
    const sbx::TextArgument root(rootStruct);
    const sbx::TextArgument path(xmlPath);
    sbx::g_DBGLog.Printf(3, u"Convert from binary to XML file begin.(Root structure: %s, XML: %s)",
                         root.forMessage(), path.forMessage());
    const sbx::ConversionLock lock;
    const bool parametersGiven = binary != nullptr && binarySize >= 1;
    const auto address = reinterpret_cast<std::uintptr_t>(binary);
    // The text that a failed write leaves in the error slot does not survive: the slot comes out empty.
    return sbx::BinaryToXml({hModule, pdbResId, ruleResId, root, address, binarySize}, parametersGiven,
                            sbx::kFileWords, [&](const sbx::xml::SerializedText* text, sbx::WideView&) {
                              return sbx::WriteDocumentFile(path, text);
                            });
  };
  return sbx::GuardedCall(convert, [] { sbx::FinishRefused(sbx::kFileWords); });
}

}  // extern "C"
