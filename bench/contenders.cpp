#include "contenders.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "parts_alone.h"
#include "read_by_hand.h"
#include "read_with_pugixml.h"
#include "rebuilt.h"
#include "sbxml.h"
#include "write_by_hand.h"
#include "write_with_pugixml.h"

namespace bench {
namespace {

// The hand-written writer asks for the longest form of a value before it writes the value.
constexpr std::size_t kSpareUnits = 1024;

bool IsExpected(const Arena& arena, const std::vector<char16_t>& text) {
  const std::u16string_view found(text.data());
  if (found == arena.expected) return true;
  const auto at = std::ranges::mismatch(found, arena.expected).in1 - found.begin();
  std::fprintf(stderr, "size %s: %zu units instead of %zu, the first difference is at %td\n",
               arena.workload.size().name, found.size(), arena.expected.size(), at);
  return false;
}

// --- memory to XML -----------------------------------------------------------------------------------------

std::int32_t ToText(const Module& module, const JobScript& script, char16_t* out, std::int32_t* size) {
  return SBXBinaryToXML_Text(module.handle(), Module::kDescriptionsId, Module::kRulesId, u"JobScript",
                             &script, sizeof script, out, size, 0);
}

bool WriteInOneCall(Arena& arena, const Module& module) {
  auto size = static_cast<std::int32_t>(arena.out.size());
  return ToText(module, arena.workload.root(), arena.out.data(), &size) == SBX_OK;
}

// The usual way of a caller who does not know the size: ask, then convert again.
bool WriteInTwoCalls(Arena& arena, const Module& module) {
  std::int32_t size = 0;
  return ToText(module, arena.workload.root(), nullptr, &size) == SBX_E_BUFFER &&
         static_cast<std::size_t>(size) <= arena.out.size() && WriteInOneCall(arena, module);
}

Contender WriterOf(const char* name, std::function<bool(Arena&)> run) {
  return {name, run, [run](Arena& arena) {
            std::ranges::fill(arena.out, u'\0');
            return run(arena) && IsExpected(arena, arena.out);
          }};
}

// --- XML to memory -----------------------------------------------------------------------------------------

bool IsSameScript(Arena& arena, const JobScript* script) {
  std::ranges::fill(arena.back, u'\0');
  return script != nullptr && WriteByHand(*script, arena.back.data(), arena.back.size()) != 0 &&
         IsExpected(arena, arena.back);
}

JSHandle* ReadWithLibrary(const Module& module, const std::u16string& xml) {
  JSHandle* handle = nullptr;
  const std::int32_t code = SBXXMLToBinary(module.handle(), Module::kDescriptionsId, Module::kRulesId,
                                           u"JobScript", xml.c_str(), &handle);
  return code == SBX_OK ? handle : nullptr;
}

Contender LibraryReader(const char* name, const Module Arena::*module) {
  const auto run = [module](Arena& arena) {
    JSHandle* const handle = ReadWithLibrary(arena.*module, arena.expected);
    SBXFreeJSHandle(handle);
    return handle != nullptr;
  };
  const auto check = [module](Arena& arena) {
    JSHandle* const handle = ReadWithLibrary(arena.*module, arena.expected);
    void* root = nullptr;
    const bool same = SBXHandleToBuffer(handle, &root, nullptr) == SBX_OK &&
                      IsSameScript(arena, static_cast<const JobScript*>(root));
    SBXFreeJSHandle(handle);
    return same;
  };
  return {name, run, check};
}

using Reader = JobScript* (*)(std::u16string_view xml, Blocks& blocks);

Contender ReaderOf(const char* name, Reader read) {
  const auto run = [read](Arena& arena) {
    Blocks blocks;
    return read(arena.expected, blocks) != nullptr;
  };
  const auto check = [read](Arena& arena) {
    Blocks blocks;
    return IsSameScript(arena, read(arena.expected, blocks));
  };
  return {name, run, check};
}

Contender PartOf(const char* name, std::function<bool(Arena&)> run) {
  return {name, run, run};
}

}  // namespace

Arena::Arena(const Size& size)
    : workload(size), fixed(ArrayCounts::kInType, size), ruled(ArrayCounts::kByRule, size) {
  std::size_t length = 0;
  for (std::size_t room = 64 * 1024; length == 0; room *= 2) {
    out.assign(room, 0);
    length = WriteByHand(workload.root(), out.data(), room);
  }
  expected.assign(out.data(), length);
  out.assign(length + kSpareUnits, 0);
  back = out;
}

std::vector<Contender> Writers() {
  return {
      WriterOf("library", [](Arena& arena) { return WriteInOneCall(arena, arena.ruled); }),
      WriterOf("library_two_calls", [](Arena& arena) { return WriteInTwoCalls(arena, arena.ruled); }),
      WriterOf("library_no_rules", [](Arena& arena) { return WriteInOneCall(arena, arena.fixed); }),
      WriterOf("pugixml",
               [](Arena& arena) {
                 return WriteWithPugixml(arena.workload.root(), arena.out.data(), arena.out.size()) != 0;
               }),
      WriterOf("by_hand",
               [](Arena& arena) {
                 return WriteByHand(arena.workload.root(), arena.out.data(), arena.out.size()) != 0;
               }),
  };
}

std::vector<Contender> Readers() {
  return {
      LibraryReader("library", &Arena::ruled),
      LibraryReader("library_no_rules", &Arena::fixed),
      ReaderOf("pugixml", ReadWithPugixml),
      ReaderOf("by_hand", ReadByHand),
      PartOf("parse_alone", [](Arena& arena) { return ParseAlone(arena.expected); }),
      PartOf("blocks_alone",
             [](Arena& arena) {
               Blocks blocks;
               AddBlocksAlone(arena.workload.root(), blocks);
               return true;
             }),
  };
}

}  // namespace bench
