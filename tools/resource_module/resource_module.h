// A module made of documents: what a caller of the library passes on Windows, where documents are resources.
//
// A DLL without code is written to the user's temporary folder, gets the documents as resources, is loaded as
// a data file, and is gone with the object. Not thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace sbx {

class ResourceModule {
 public:
  struct Document {
    std::uint16_t id;
    const void* bytes;
    std::size_t size;  // in bytes, not 0
    const wchar_t* type = L"XML";
  };

  // The bytes are copied. Throws std::system_error with the system's number where the system refuses.
  explicit ResourceModule(std::span<const Document> documents);
  ~ResourceModule();
  ResourceModule(const ResourceModule&) = delete;
  ResourceModule& operator=(const ResourceModule&) = delete;

  // The HMODULE.
  void* get() const noexcept { return module_; }
  const std::wstring& path() const noexcept { return path_; }

 private:
  void WriteStub() const;
  void AddDocuments(std::span<const Document> documents) const;
  void Remove() const noexcept;

  std::wstring path_;
  void* module_ = nullptr;
};

}  // namespace sbx
