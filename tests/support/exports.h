// The nine functions for tests that write texts as char16_t, whatever the interface's own character is
// called.
#pragma once

#include "sbxml.h"

#if defined(_WIN32)
namespace sbx {

static_assert(sizeof(SBXChar) == sizeof(char16_t));
inline const SBXChar* Given(const char16_t* text) noexcept {
  return reinterpret_cast<const SBXChar*>(text);
}
inline SBXChar* Given(char16_t* text) noexcept {
  return reinterpret_cast<SBXChar*>(text);
}

inline void SBXGetLastError(char16_t* text, std::int32_t units) {
  ::SBXGetLastError(Given(text), units);
}
inline std::int32_t SBXVerifyStructSize(SBXModule module, std::uint32_t pdb, std::uint32_t rules,
                                        const char16_t* name, std::uint64_t expected, std::int64_t* actual) {
  return ::SBXVerifyStructSize(module, pdb, rules, Given(name), expected, actual);
}
inline std::int32_t SBXBinaryToXML_Text(SBXModule module, std::uint32_t pdb, std::uint32_t rules,
                                        const char16_t* root, const void* binary, std::int32_t size,
                                        char16_t* out, std::int32_t* units, std::int32_t addBom) {
  return ::SBXBinaryToXML_Text(module, pdb, rules, Given(root), binary, size, Given(out), units, addBom);
}
inline std::int32_t SBXBinaryToXML_File(SBXModule module, std::uint32_t pdb, std::uint32_t rules,
                                        const char16_t* root, const void* binary, std::int32_t size,
                                        const char16_t* path) {
  return ::SBXBinaryToXML_File(module, pdb, rules, Given(root), binary, size, Given(path));
}
inline std::int32_t SBXXMLToBinary(SBXModule module, std::uint32_t pdb, std::uint32_t rules,
                                   const char16_t* root, const char16_t* xml, JSHandle** handle) {
  return ::SBXXMLToBinary(module, pdb, rules, Given(root), Given(xml), handle);
}
inline std::int32_t SBXReadXML(const char16_t* path, char16_t* buffer, std::int32_t* size) {
  return ::SBXReadXML(Given(path), Given(buffer), size);
}
inline std::int32_t SBXWriteXML(const char16_t* path, const char16_t* text, std::uint32_t encoding) {
  return ::SBXWriteXML(Given(path), Given(text), encoding);
}

}  // namespace sbx
#endif
