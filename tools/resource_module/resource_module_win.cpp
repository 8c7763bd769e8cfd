#include <system_error>
#include <windows.h>

#include "resource_module/resource_module.h"

// The stub's bytes, as the linker made them.
__asm__(
    ".section .rdata,\"dr\"\n"
    ".globl sbxml_module_stub\n"
    "sbxml_module_stub:\n"
    ".incbin \"" SBXML_MODULE_STUB
    "\"\n"
    ".globl sbxml_module_stub_end\n"
    "sbxml_module_stub_end:\n"
    ".byte 0\n"
    ".text\n");
extern "C" const char sbxml_module_stub[];
extern "C" const char sbxml_module_stub_end[];

namespace sbx {
namespace {

[[noreturn]] void Fail(const char* what) {
  throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

std::wstring NewTemporaryFile() {
  wchar_t folder[MAX_PATH + 1];
  wchar_t path[MAX_PATH + 1];
  if (GetTempPathW(MAX_PATH + 1, folder) == 0) Fail("no temporary folder");
  if (GetTempFileNameW(folder, L"sbx", 0, path) == 0) Fail("no temporary file");
  return path;
}

}  // namespace

ResourceModule::ResourceModule(std::span<const Document> documents) : path_(NewTemporaryFile()) {
  try {
    WriteStub();
    AddDocuments(documents);
    module_ = LoadLibraryExW(path_.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    if (module_ == nullptr) Fail("a module of documents can't be loaded");
  } catch (...) {
    Remove();
    throw;
  }
}

ResourceModule::~ResourceModule() {
  FreeLibrary(static_cast<HMODULE>(module_));
  Remove();
}

void ResourceModule::WriteStub() const {
  const HANDLE file =
      CreateFileW(path_.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) Fail("a module of documents can't be written");
  const auto size = static_cast<DWORD>(sbxml_module_stub_end - sbxml_module_stub);
  DWORD written = 0;
  const BOOL done = WriteFile(file, sbxml_module_stub, size, &written, nullptr);
  const DWORD error = GetLastError();
  CloseHandle(file);
  SetLastError(error);
  if (done == FALSE || written != size) Fail("a module of documents can't be written");
}

void ResourceModule::AddDocuments(std::span<const Document> documents) const {
  const HANDLE update = BeginUpdateResourceW(path_.c_str(), FALSE);
  if (update == nullptr) Fail("documents can't be made resources");
  for (const Document& document : documents) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): read only
    void* const bytes = const_cast<void*>(document.bytes);
    if (UpdateResourceW(update, document.type, MAKEINTRESOURCEW(document.id),
                        MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL), bytes,
                        static_cast<DWORD>(document.size)) == FALSE) {
      const DWORD error = GetLastError();
      EndUpdateResourceW(update, TRUE);
      SetLastError(error);
      Fail("a document can't be made a resource");
    }
  }
  if (EndUpdateResourceW(update, FALSE) == FALSE) Fail("documents can't be made resources");
}

void ResourceModule::Remove() const noexcept {
  DeleteFileW(path_.c_str());
}

}  // namespace sbx
