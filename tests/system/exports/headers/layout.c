/* Numbers and layouts that compiled callers rely on, as C sees them; layout.cpp holds the same for C++. */
#include <stddef.h>
#include <uchar.h>

#include "sbxml.h"
#include "sbxml_module.h"

#define PIN(condition) _Static_assert(condition, #condition)

PIN(sizeof(struct SBXModuleResource) == 24);
PIN(offsetof(struct SBXModuleResource, type) == 0);
PIN(offsetof(struct SBXModuleResource, id) == 8);
PIN(offsetof(struct SBXModuleResource, size) == 12);
PIN(offsetof(struct SBXModuleResource, bytes) == 16);
PIN(sizeof(struct SBXModuleResources) == 16);
PIN(offsetof(struct SBXModuleResources, count) == 0);
PIN(offsetof(struct SBXModuleResources, resources) == 8);

PIN(sizeof(SBXChar) == 2);
#ifdef _WIN32
PIN(_Generic((SBXChar)0, wchar_t : 1, default : 0));
PIN(_Generic((SBXModule)0, void* : 1, default : 0));
#else
PIN(_Generic((SBXChar)0, char16_t : 1, default : 0));
PIN(_Generic((SBXModule)0, const struct SBXModuleResources* : 1, default : 0));
#endif
PIN(_Generic(SBX_TEXT("t"), SBXChar* : 1, const SBXChar* : 1, default : 0));

PIN(SBX_OK == 0);
PIN(SBX_E_NOT_FOUND == -1);
PIN(SBX_E_PARAMETER == -2);
PIN(SBX_E_MEMORY == -3);
PIN(SBX_E_DESCRIPTION == -4);
PIN(SBX_E_STATE == -5);
PIN(SBX_E_DOM == -6);
PIN(SBX_E_RESOURCE == -7);
PIN(SBX_E_CONTENT == -9);
PIN(SBX_E_BUFFER == -10);
PIN(SBX_E_FILE == -11);
PIN(SBX_E_ADDRESS == -12);
