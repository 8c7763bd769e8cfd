// How data goes to standard output.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "base/wide_text.h"

namespace sbx::tool {

using Json = nlohmann::ordered_json;

struct OutputForm {
  bool json = false;
  bool colour = false;
  bool toTerminal = false;  // control characters are then shown as dots
};

// Text of a message: line feeds and tabs stay, and other control characters where no terminal obeys them.
std::string MessageText(WideView text, const OutputForm& form);
// Text that stands in a table or a sentence: no control characters at all.
std::string PlainText(WideView text);

void PutJson(const Json& json);
// Columns two blanks apart, as wide as their widest cell; the last one is left as it is.
void PutTable(const std::vector<std::vector<std::string>>& rows);

// Throws CommandFailure with kExitNoOutput if standard output has failed.
void FlushOutput();

}  // namespace sbx::tool
