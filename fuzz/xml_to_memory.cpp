// A job script that varies, under descriptions and rules that stay: there, back and there again.
#include "fuzz_case.h"

using namespace sbx::fuzz;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  QuietLog();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  BeginCase({data, size});
  static const Module module(Document("descriptions.xml"), Document("rules.xml"));
  module.Circle(u"Root", Widen({data, size}));
  EndOfCase();
  return 0;
}
