// A host that loads the library at run time, leaves handles and a failed conversion behind, and unloads it:
// nothing of it may stay, which a leak checker sees when this program ends.
#include <cstdio>
#include <cstring>
#include <string>

#include "chain_module.h"
#include "run_time_library.h"

namespace {

int Fail(const char* what) {
  std::fprintf(stderr, "unload_host: %s\n", what);
  return 1;
}

template <class Function>
Function Find(void* library, const char* name) {
  return reinterpret_cast<Function>(sbx::testing::FindFunction(library, name));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return Fail("wants the library's path");
  const sbx::testing::ChainModule module;
  for (int round = 0; round < 3; ++round) {
    void* const library = sbx::testing::LoadLibraryAt(argv[1]);
    if (library == nullptr) return Fail("the library can't be loaded");
    const auto convert = Find<decltype(&SBXXMLToBinary)>(library, "SBXXMLToBinary");
    const auto release = Find<decltype(&SBXFreeJSHandle)>(library, "SBXFreeJSHandle");
    if (convert == nullptr || release == nullptr) return Fail("a function is missing");

    const SBXChar* const root = SBX_TEXT("Link");
    JSHandle* handles[3] = {};
    for (JSHandle*& handle : handles) {
      const SBXChar* const xml = SBX_TEXT("<J><Link><Next><Name>b</Name></Next><Name>a</Name></Link></J>");
      if (convert(module.handle(), 1, 2, root, xml, &handle) != SBX_OK) return Fail("a conversion");
    }
    if (release(handles[1]) != SBX_OK) return Fail("a release");
    JSHandle* none = nullptr;
    const SBXChar* const bad = SBX_TEXT("<J><Link><Name>a</Name><Next/></Link></J>");
    if (convert(module.handle(), 1, 2, root, bad, &none) != SBX_E_CONTENT) return Fail("a bad script");
    if (!sbx::testing::UnloadLibrary(library)) return Fail("the library can't be unloaded");
    if (sbx::testing::IsLoaded(argv[1])) return Fail("the library is still there");
  }
  return 0;
}
