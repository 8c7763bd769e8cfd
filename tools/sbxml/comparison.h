// Compares a document with what came back of it: XML to memory and to XML again.
#pragma once

#include <vector>

#include "sbxml/diagnostics.h"
#include "sbxml/documents.h"
#include "sbxml/loss_finder.h"
#include "sbxml/source_tree.h"

namespace sbx::tool {

// Both ways of writing the same value are one: numbers are compared as the reader stores them, texts exactly.
// Elements that the notes pass over or explain are not told of again. The notes are those of `before`.
std::vector<Diagnostic> CompareWithReturned(const SourceFile& file, const SourceTree& before,
                                            const ElementNotes& notes, const SourceTree& after);

}  // namespace sbx::tool
