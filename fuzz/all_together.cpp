// Everything varies: the root record's name, the descriptions, the rules and the job script.
#include "fuzz_case.h"

using namespace sbx::fuzz;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  QuietLog();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  BeginCase({data, size});
  const auto parts = Split({data, size}, 4);
  const Module module(Widen(parts[1]), Widen(parts[2]));
  module.Circle(Widen(parts[0]), Widen(parts[3]));
  EndOfCase();
  return 0;
}
