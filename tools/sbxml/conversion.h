// The library's conversions, through its exported functions alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/wide_text.h"
#include "sbxml.h"
#include "sbxml/documents.h"

namespace sbx::tool {

// How a call of the library ended.
struct LibraryAnswer {
  const char* function = "";
  std::int32_t code = SBX_OK;
  std::string errorText;  // the library's own, after a failure

  bool ok() const noexcept { return code == SBX_OK; }
};

// A job script in memory, freed with this object.
class RebuiltGraph {
 public:
  // Converts a text without a mark. After a failure there is no graph, and one of the library's 100 handles
  // is used up for the rest of the process.
  RebuiltGraph(const DocumentSet& set, const WideString& xml);
  ~RebuiltGraph();
  RebuiltGraph(const RebuiltGraph&) = delete;
  RebuiltGraph& operator=(const RebuiltGraph&) = delete;

  const LibraryAnswer& answer() const noexcept { return answer_; }
  const std::byte* root() const noexcept { return root_; }  // null after a failure
  std::uint32_t totalSize() const noexcept { return totalSize_; }

 private:
  LibraryAnswer answer_;
  JSHandle* handle_ = nullptr;
  const std::byte* root_ = nullptr;
  std::uint32_t totalSize_ = 0;
};

// Writes a graph as XML again; `xml` is set on success.
LibraryAnswer WriteGraph(const DocumentSet& set, const RebuiltGraph& graph, WideString& xml);

}  // namespace sbx::tool
