// Numbers, layouts and signatures that compiled callers rely on, as C++ sees them.
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "sbxml.h"
#include "sbxml_module.h"

static_assert(sizeof(SBXModuleResource) == 24);
static_assert(offsetof(SBXModuleResource, type) == 0);
static_assert(offsetof(SBXModuleResource, id) == 8);
static_assert(offsetof(SBXModuleResource, size) == 12);
static_assert(offsetof(SBXModuleResource, bytes) == 16);
static_assert(sizeof(SBXModuleResources) == 16);
static_assert(offsetof(SBXModuleResources, count) == 0);
static_assert(offsetof(SBXModuleResources, resources) == 8);
static_assert(std::is_standard_layout_v<SBXModuleResource> && std::is_trivial_v<SBXModuleResource>);
static_assert(std::is_standard_layout_v<SBXModuleResources> && std::is_trivial_v<SBXModuleResources>);

#ifdef _WIN32
static_assert(std::is_same_v<SBXChar, wchar_t>);
static_assert(std::is_same_v<SBXModule, void*>);
#else
static_assert(std::is_same_v<SBXChar, char16_t>);
static_assert(std::is_same_v<SBXModule, const SBXModuleResources*>);
#endif
static_assert(std::is_same_v<decltype(SBX_TEXT("t")), const SBXChar (&)[2]>);

template <typename Function, typename Expected>
inline constexpr bool kIs = std::is_same_v<Function, Expected>;
using Text = const SBXChar*;
using Id = std::uint32_t;

static_assert(kIs<decltype(SBXGetLastError), void(SBXChar*, std::int32_t)>);
static_assert(
    kIs<decltype(SBXVerifyStructSize), std::int32_t(SBXModule, Id, Id, Text, std::uint64_t, std::int64_t*)>);
static_assert(
    kIs<decltype(SBXBinaryToXML_Text), std::int32_t(SBXModule, Id, Id, Text, const void*, std::int32_t,
                                                    SBXChar*, std::int32_t*, std::int32_t)>);
static_assert(kIs<decltype(SBXBinaryToXML_File),
                  std::int32_t(SBXModule, Id, Id, Text, const void*, std::int32_t, Text)>);
static_assert(kIs<decltype(SBXXMLToBinary), std::int32_t(SBXModule, Id, Id, Text, Text, JSHandle**)>);
static_assert(kIs<decltype(SBXFreeJSHandle), std::int32_t(JSHandle*)>);
static_assert(kIs<decltype(SBXHandleToBuffer), std::int32_t(JSHandle*, void**, std::uint32_t*)>);
static_assert(kIs<decltype(SBXReadXML), std::int32_t(Text, SBXChar*, std::int32_t*)>);
static_assert(kIs<decltype(SBXWriteXML), std::int32_t(Text, Text, std::uint32_t)>);
