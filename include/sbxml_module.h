/* A module's documents, off Windows.
 *
 * On Windows a module is an HMODULE and its documents are resources of type "XML". Elsewhere a module is a
 * table that it owns. The CMake function sbxml_embed_documents() makes either from two document files.
 *
 * The library reads the table during a call and never keeps a pointer into it past the call. The layout is
 * part of the ABI on 64-bit systems: 24 bytes an entry, 16 bytes the table.
 */
#ifndef SBXML_MODULE_H_
#define SBXML_MODULE_H_

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct SBXModuleResource {
  const char* type;  /*  0  "XML" */
  uint32_t id;       /*  8  looked up by its low 16 bits */
  uint32_t size;     /* 12  bytes */
  const void* bytes; /* 16  UTF-16 little-endian text, with or without U+FEFF; null: can't be read */
} SBXModuleResource;

typedef struct SBXModuleResources {
  uint32_t count;                     /* 0 */
  const SBXModuleResource* resources; /* 8  `count` entries */
} SBXModuleResources;

#ifdef __cplusplus
}
#endif

#endif /* SBXML_MODULE_H_ */
