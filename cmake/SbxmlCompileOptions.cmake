# Language level, warnings, hardening and sanitizers of everything that is built here: link `sbxml_options`, and
# programs `sbxml_program_options` too. GCC 12 and clang 14 are the compilers that must stay free of warnings.
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(SBXML_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize= takes them")
option(SBXML_COVERAGE "Instrument for clang's source-based coverage" OFF)
option(SBXML_WARNINGS_AS_ERRORS "Warnings fail the build" ${PROJECT_IS_TOP_LEVEL})

add_library(sbxml_options INTERFACE)
target_compile_features(sbxml_options INTERFACE cxx_std_20 c_std_11)
target_compile_options(
  sbxml_options
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wconversion
            -Wsign-conversion
            -Wdouble-promotion
            -Wshadow
            -Wformat=2
            -Wcast-align
            -Wcast-qual
            -Wundef
            -Wvla
            -Wimplicit-fallthrough
            $<$<BOOL:${SBXML_WARNINGS_AS_ERRORS}>:-Werror>
            $<$<CXX_COMPILER_ID:GNU>:-Wlogical-op>
            $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond>
            # What GCC 12 sees in moved and assigned std::strings is not there.
            $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>
            $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
            $<$<COMPILE_LANGUAGE:C>:-Wstrict-prototypes>
            $<$<COMPILE_LANGUAGE:C>:-Wmissing-prototypes>
            $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
            $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
            $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
            $<$<COMPILE_LANGUAGE:CXX>:-Wextra-semi>)

add_library(sbxml_program_options INTERFACE)

# Frames are checked, return addresses guarded and tables made read-only before any code of ours runs.
# _FORTIFY_SOURCE needs an optimising build and would hide from the sanitizers what they look for.
if(WIN32)
  # What is built here runs without the compiler's own DLLs. No stack protection: mingw-w64's sets itself up through
  # the system's cryptography, which a DLL may not call while it is loaded.
  target_link_options(sbxml_options INTERFACE -static)
else()
  target_compile_options(sbxml_options INTERFACE -fstack-protector-strong -fstack-clash-protection)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
    target_compile_options(sbxml_options INTERFACE -fcf-protection)
  endif()
  target_link_options(sbxml_options INTERFACE LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack LINKER:--as-needed)
  if(NOT SBXML_SANITIZE)
    target_compile_options(sbxml_options
                           INTERFACE $<$<CONFIG:Release,RelWithDebInfo>:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=2>)
  endif()
  target_compile_options(sbxml_program_options INTERFACE -fPIE)
  target_link_options(sbxml_program_options INTERFACE -pie)
endif()

if(SBXML_SANITIZE)
  set(sanitizer_flags -fsanitize=${SBXML_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_options(sbxml_options INTERFACE ${sanitizer_flags})
  target_link_options(sbxml_options INTERFACE ${sanitizer_flags})
endif()

if(SBXML_COVERAGE)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "SBXML_COVERAGE needs clang")
  endif()
  target_compile_options(sbxml_options INTERFACE -fprofile-instr-generate -fcoverage-mapping)
  target_link_options(sbxml_options INTERFACE -fprofile-instr-generate)
endif()
