// What the fuzz targets share: an input cut into documents, a module made of them, and the conversions.
//
// Inputs are narrow, so that the fuzzer's mutations meet markup and digits; each document becomes wide text
// by a lenient reading in which every unit can occur.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/wide_text.h"
#include "sbxml.h"

namespace sbx::fuzz {

using Bytes = std::span<const std::uint8_t>;

// Parts of an input are separated by this byte, which the text of none holds.
inline constexpr std::uint8_t kSeparator = 0xFF;

// The first `count` - 1 parts and the rest; missing ones are empty.
std::vector<Bytes> Split(Bytes input, std::size_t count);

// UTF-8 as far as it is that, surrogates included; any other byte becomes the unit of its number.
WideString Widen(Bytes text);

// One of the documents beside this file, as wide text. Ends the process if it is not there.
WideString Document(const char* name);

// A module of two documents. They are loaded by the first conversion alone; the later ones work on its sets.
class Module {
 public:
  Module(WideString descriptions, WideString rules);
  ~Module();
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  // Converts the text; the root record's address if that went well. The library owns the graph, until
  // EndOfCase.
  const void* ToMemory(const WideString& root, const WideString& xml) const;
  // Converts the memory; the text if that went well.
  std::optional<WideString> ToXml(const WideString& root, const void* memory, std::size_t size) const;
  // There, back and there again, as far as it goes.
  void Circle(const WideString& root, const WideString& xml) const;

 private:
  // The first three arguments of a conversion.
  struct Documents {
    SBXModule module;
    std::uint32_t descriptions;
    std::uint32_t rules;
  };
  Documents DocumentsToLoad() const;

  WideString descriptions_;
  WideString rules_;
  SBXModuleResource resources_[2];
  SBXModuleResources table_;
};

// The size of a record of the set that the last conversion read; 0 if it has none such.
std::size_t RecordSize(const WideString& name);

// Once, before the first case: the log goes to an output that reads every line and keeps none.
void QuietLog();

// Each fourth length of input is logged in full, the others' failures only: most of the time goes into lines.
void BeginCase(Bytes input);

// Frees all graphs, so that the table of handles never fills up.
void EndOfCase();

// Ends the process with the words, for the fuzzer to keep the input.
[[noreturn]] void Finding(const char* words);

}  // namespace sbx::fuzz
