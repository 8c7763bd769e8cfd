/* SBXML: job scripts (graphs of fixed-layout records joined by pointers) to XML and back.
 *
 * This file is the whole interface: nine functions. What is not in it is not API.
 *
 * Text is UTF-16, zero-terminated, in units of SBXChar. Functions return SBX_OK or one of the negative codes
 * below; after a negative code SBXGetLastError() gives a text, where that failure set one. An argument whose
 * memory can't be read or written counts as a null pointer, but for the two buffers for text and the records
 * themselves, which end in SBX_E_ADDRESS. No exception leaves the library.
 *
 * Threads: any thread may call. SBXVerifyStructSize, SBXBinaryToXML_Text, SBXBinaryToXML_File and
 * SBXXMLToBinary run one at a time. The text of SBXGetLastError is one slot for the process: whatever failed
 * last wins, and success does not clear it.
 *
 * On Windows the caller initialises the component runtime on the calling thread first; without it the
 * conversions end in an error code.
 */
#ifndef SBXML_H_
#define SBXML_H_

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
typedef wchar_t SBXChar;
typedef void* SBXModule; /* an HMODULE */
#define SBX_TEXT(text) L##text
#if defined(SBXML_BUILDING)
#define SBX_API __declspec(dllexport)
#else
#define SBX_API __declspec(dllimport)
#endif
#else
#if !defined(__cplusplus)
#include <uchar.h>
#endif
#include "sbxml_module.h"
typedef char16_t SBXChar;
typedef const struct SBXModuleResources* SBXModule;
#define SBX_TEXT(text) u##text
#define SBX_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

#define SBX_OK 0
#define SBX_E_NOT_FOUND (-1)   /* a relocated record name, or the root record in XML, is missing */
#define SBX_E_PARAMETER (-2)   /* invalid parameters */
#define SBX_E_MEMORY (-3)      /* out of memory or stack, or the table of handles is full */
#define SBX_E_DESCRIPTION (-4) /* the description contradicts the data */
#define SBX_E_STATE (-5)       /* a needed object is missing, or a record size differs */
#define SBX_E_DOM (-6)         /* a document or element could not be created or loaded */
#define SBX_E_RESOURCE (-7)    /* a module's document could not be found, read or parsed */
#define SBX_E_CONTENT (-9)     /* XML content could not be read, set or converted */
#define SBX_E_BUFFER (-10)     /* the buffer is too small; the need has been stored */
#define SBX_E_FILE (-11)       /* a file could not be opened, measured, read or written */
#define SBX_E_ADDRESS (-12)    /* memory at a given address can't be read or written */

/* The result of SBXXMLToBinary: owns every block of the rebuilt graph. */
typedef struct JSHandle JSHandle;

/* Copies the text of the last reported failure, cut to errorChars - 1 units and a zero. Does nothing for a
 * null buffer or a capacity below 1. Takes no lock. */
SBX_API void SBXGetLastError(SBXChar* errorText, int32_t errorChars);

/* Compares a record's described size in bytes with the one that the caller was compiled with.
 * hModule, pdbResId, ruleResId   the module that carries the structure descriptions and the conversion rules
 * actualSize                     receives the described size, whatever the result; may be null
 * Returns SBX_OK, SBX_E_STATE for another size, SBX_E_PARAMETER, SBX_E_RESOURCE, SBX_E_MEMORY. A name that
 * the descriptions lack stops the process: a caller asks for described names only. */
SBX_API int32_t SBXVerifyStructSize(SBXModule hModule, uint32_t pdbResId, uint32_t ruleResId,
                                    const SBXChar* structName, uint64_t expectedSize, int64_t* actualSize);

/* Converts the record graph at `binary` to XML text.
 * rootStruct   name of the root record's description
 * binarySize   bytes available at `binary`; at least the root record's size
 * xmlOut       receives the text and a zero; null: nothing is written
 * xmlSize      in: capacity of xmlOut in units; out: the need in units, its zero included. A capacity below
 *              the need gives SBX_E_BUFFER; call again with that much. Each call converts anew.
 * addBom       non-zero: the text begins with U+FEFF
 * The graph is read only, must not change during the call, and is not kept. */
SBX_API int32_t SBXBinaryToXML_Text(SBXModule hModule, uint32_t pdbResId, uint32_t ruleResId,
                                    const SBXChar* rootStruct, const void* binary, int32_t binarySize,
                                    SBXChar* xmlOut, int32_t* xmlSize, int32_t addBom);

/* The same to a file: UTF-16 little-endian with its mark, created anew. */
SBX_API int32_t SBXBinaryToXML_File(SBXModule hModule, uint32_t pdbResId, uint32_t ruleResId,
                                    const SBXChar* rootStruct, const void* binary, int32_t binarySize,
                                    const SBXChar* xmlPath);

/* Rebuilds the record graph of an XML text.
 * xmlText     with or without a leading U+FEFF
 * handleOut   receives the handle, for SBXHandleToBuffer and SBXFreeJSHandle; null: the conversion serves as
 *             a check and nothing is kept
 * At most 100 handles can be outstanding; a failed conversion uses one up until the library is unloaded. */
SBX_API int32_t SBXXMLToBinary(SBXModule hModule, uint32_t pdbResId, uint32_t ruleResId,
                               const SBXChar* rootStruct, const SBXChar* xmlText, JSHandle** handleOut);

/* Frees a rebuilt graph: every address in it is invalid from here on. Null and unknown handles are ignored.
 * Always SBX_OK. */
SBX_API int32_t SBXFreeJSHandle(JSHandle* handle);

/* The root record of a rebuilt graph, and the sum of the sizes of all its blocks in bytes (they are separate
 * blocks; only the pointers in the records join them). Either argument may be null. Returns SBX_OK, or
 * SBX_E_PARAMETER for an unknown handle. */
SBX_API int32_t SBXHandleToBuffer(JSHandle* handle, void** bufferOut, uint32_t* sizeOut);

/* Reads an XML file of UTF-16 (either order) or UTF-8 with a mark, else of the narrow code page, as text
 * without mark and without its XML declaration.
 * fileSize   in: capacity of fileBuffer in bytes; out: the need in bytes, where SBX_E_BUFFER is returned.
 *            All of the buffer is zeroed first. */
SBX_API int32_t SBXReadXML(const SBXChar* filePath, SBXChar* fileBuffer, int32_t* fileSize);

/* Writes text to a file, created anew.
 * encoding   0 UTF-16 little-endian, 1 UTF-16 big-endian, 2 UTF-8, each with its mark; 3 the narrow code
 * page. The files of 2 and 3 end in a zero byte. */
SBX_API int32_t SBXWriteXML(const SBXChar* filePath, const SBXChar* xmlText, uint32_t encoding);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* SBXML_H_ */
