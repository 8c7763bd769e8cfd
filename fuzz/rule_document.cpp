// A rule document that varies, under descriptions and a job script that stay.
#include "fuzz_case.h"

using namespace sbx;
using namespace sbx::fuzz;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  QuietLog();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  BeginCase({data, size});
  static const WideString descriptions = Document("descriptions.xml");
  static const WideString script = Document("script.xml");
  const Module module(descriptions, Widen({data, size}));
  module.Circle(u"Root", script);
  EndOfCase();
  return 0;
}
