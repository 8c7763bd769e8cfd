#include "parts_alone.h"

#include <algorithm>
#include <expat.h>
#include <string>

namespace bench {
namespace {

// As the library hands its text over.
constexpr std::size_t kPieceUnits = std::size_t{128} * 1024;
constexpr XML_Char kEncoding[] = {'U', 'T', 'F', '-', '1', '6', 'L', 'E', 0};

void AddText(const char16_t* text, Blocks& blocks) {
  if (text != nullptr) blocks.Add<char16_t>(std::char_traits<char16_t>::length(text) + 1);
}

}  // namespace

bool ParseAlone(std::u16string_view xml) {
  const XML_Parser parser = XML_ParserCreate(kEncoding);
  XML_SetElementHandler(
      parser, [](void*, const XML_Char*, const XML_Char**) {}, [](void*, const XML_Char*) {});
  XML_SetCharacterDataHandler(parser, [](void*, const XML_Char*, int) {});
  bool ok = true;
  while (ok && !xml.empty()) {
    const std::size_t units = std::min(xml.size(), kPieceUnits);
    const bool isLast = units == xml.size();
    ok =
        XML_Parse(parser, reinterpret_cast<const char*>(xml.data()),
                  static_cast<int>(units * sizeof(char16_t)), isLast ? XML_TRUE : XML_FALSE) == XML_STATUS_OK;
    xml.remove_prefix(units);
  }
  XML_ParserFree(parser);
  return ok;
}

void AddBlocksAlone(const JobScript& script, Blocks& blocks) {
  blocks.Add<JobScript>();
  blocks.Add<Task>(script.count);
  for (std::uint32_t i = 0; i < script.count; ++i) {
    const Task& task = script.tasks[i];
    AddText(task.source, blocks);
    AddText(task.target, blocks);
    blocks.Add<Filter>(task.nFilters);
    for (std::uint32_t k = 0; k < task.nFilters; ++k) AddText(task.filters[k].pattern, blocks);
  }
  AddText(script.name, blocks);
  AddText(script.comment, blocks);
  blocks.Add<Options>();
  for (const char16_t* text : {script.options->owner, script.options->queue, script.options->printer}) {
    AddText(text, blocks);
  }
}

}  // namespace bench
