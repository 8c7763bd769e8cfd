#include "sbxml/conversion.h"

#include "desc/structure_description.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

// SBXChar and the core's character are one type off Windows, and alike on it.
const SBXChar* ToSbx(const WideString& text) noexcept {
  return reinterpret_cast<const SBXChar*>(text.c_str());
}

LibraryAnswer Answer(const char* function, std::int32_t code) {
  LibraryAnswer answer = {function, code, {}};
  if (code == SBX_OK) return answer;
  WideString text(4096, u'\0');
  SBXGetLastError(reinterpret_cast<SBXChar*>(text.data()), static_cast<std::int32_t>(text.size()));
  answer.errorText = ToUtf8(WideView(text.c_str()));
  return answer;
}

}  // namespace

RebuiltGraph::RebuiltGraph(const DocumentSet& set, const WideString& xml) {
  const std::int32_t code = SBXXMLToBinary(set.module(), DocumentSet::kDescriptionsId, DocumentSet::kRulesId,
                                           ToSbx(set.root()), ToSbx(xml), &handle_);
  answer_ = Answer("SBXXMLToBinary", code);
  if (code != SBX_OK) return;
  void* root = nullptr;
  answer_ = Answer("SBXHandleToBuffer", SBXHandleToBuffer(handle_, &root, &totalSize_));
  root_ = static_cast<const std::byte*>(root);
}

RebuiltGraph::~RebuiltGraph() {
  SBXFreeJSHandle(handle_);
}

LibraryAnswer WriteGraph(const DocumentSet& set, const RebuiltGraph& graph, WideString& xml) {
  const JSStructDesc* const record = set.descriptions().FindStruct(set.root());
  const std::int32_t size = record == nullptr ? 0 : record->size;
  const auto write = [&](SBXChar* out, std::int32_t* units) {
    return SBXBinaryToXML_Text(set.module(), DocumentSet::kDescriptionsId, DocumentSet::kRulesId,
                               ToSbx(set.root()), graph.root(), size, out, units, 0);
  };
  std::int32_t units = 0;
  std::int32_t code = write(nullptr, &units);
  if (code == SBX_E_BUFFER) {
    xml.resize(static_cast<std::size_t>(units));
    code = write(reinterpret_cast<SBXChar*>(xml.data()), &units);
    xml.resize(code == SBX_OK ? static_cast<std::size_t>(units) - 1 : 0);
  }
  return Answer("SBXBinaryToXML_Text", code);
}

}  // namespace sbx::tool
