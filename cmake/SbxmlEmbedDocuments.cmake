# sbxml_embed_documents(<target> DESCRIPTIONS <file> <id> RULES <file> <id> [MODULE <symbol>])
#
# Embeds a module's structure descriptions and conversion rules into <target>, an executable or library of the
# calling directory written in C or C++. <file> is a UTF-8 document (a relative path starts at the current
# source directory); <id> is the number to name in calls, 1 to 65535. A change of a document rebuilds the target;
# a document that is not UTF-8 fails the build.
#
# Off Windows this defines `const struct SBXModuleResources <symbol>` (default: sbxml_module). On Windows it makes
# resources of type XML. Sources of the target can include <symbol>_embed.h, which declares <symbol> such that
# `&<symbol>` is the SBXModule to pass on either system.
#
# A target may carry several modules: one call each, with symbols of their own (and, on Windows, where all
# resources of a target share one name space, with ids of their own).
#
# For Windows this takes mingw-w64's compilers; with Visual C++, `sbxml_embed --resources` writes the resource script.
#
# In a cross build the converter runs through CMAKE_CROSSCOMPILING_EMULATOR, or set SBXML_EMBED_EXECUTABLE to a
# native sbxml_embed.

set(_SBXML_EMBED_HEADER_TEMPLATE ${CMAKE_CURRENT_LIST_DIR}/sbxml_embed.h.in)

function(sbxml_embed_documents target)
  if(MSVC)
    message(FATAL_ERROR "sbxml_embed_documents: needs mingw-w64; for Visual C++ see the README's page on Windows")
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "MODULE" "DESCRIPTIONS;RULES")
  _sbxml_embed_check_arguments()

  set(directory ${CMAKE_CURRENT_BINARY_DIR}/sbxml_embed/${target})
  set(documents)
  set(files)
  foreach(kind DESCRIPTIONS RULES)
    list(GET arg_${kind} 0 file)
    list(GET arg_${kind} 1 id)
    cmake_path(ABSOLUTE_PATH file BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR} NORMALIZE)
    list(APPEND documents --document ${id} ${file})
    list(APPEND files ${file})
  endforeach()

  if(WIN32)
    set(output ${directory}/${arg_MODULE}_embed.rc)
    set(mode --resources ${output})
  else()
    get_property(languages GLOBAL PROPERTY ENABLED_LANGUAGES)
    set(extension cpp)
    if("C" IN_LIST languages)
      set(extension c)
    endif()
    set(output ${directory}/${arg_MODULE}_embed.${extension})
    set(mode --source ${output} --module ${arg_MODULE})
  endif()

  set(embed sbxml::sbxml_embed)
  set(command ${embed})
  if(SBXML_EMBED_EXECUTABLE)
    set(embed ${SBXML_EMBED_EXECUTABLE})
    set(command ${embed})
  elseif(CMAKE_CROSSCOMPILING)
    # CMake itself puts it in front of the own targets of a project, not of those of a package.
    set(command ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${embed}>)
  endif()
  add_custom_command(
    OUTPUT ${output}
    COMMAND ${command} ${mode} ${documents}
    DEPENDS ${files} ${embed}
    COMMENT "Embedding the documents of ${arg_MODULE} into ${target}"
    VERBATIM)

  set(SBXML_EMBED_MODULE ${arg_MODULE})
  configure_file(${_SBXML_EMBED_HEADER_TEMPLATE} ${directory}/${arg_MODULE}_embed.h @ONLY)
  target_sources(${target} PRIVATE ${output})
  target_include_directories(
    ${target} PRIVATE ${directory} $<TARGET_PROPERTY:sbxml::headers,INTERFACE_INCLUDE_DIRECTORIES>)
endfunction()

# Checks what the caller gave and completes it, in the caller's scope.
macro(_sbxml_embed_check_arguments)
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "sbxml_embed_documents: unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
  endif()
  if(NOT TARGET ${target})
    message(FATAL_ERROR "sbxml_embed_documents: no target ${target}")
  endif()
  get_target_property(_sbxml_source_dir ${target} SOURCE_DIR)
  if(NOT _sbxml_source_dir STREQUAL CMAKE_CURRENT_SOURCE_DIR)
    message(FATAL_ERROR "sbxml_embed_documents: ${target} belongs to ${_sbxml_source_dir}; call it there")
  endif()
  if(NOT DEFINED arg_MODULE)
    set(arg_MODULE sbxml_module)
  endif()
  if(NOT arg_MODULE MATCHES "^[A-Za-z_][A-Za-z_0-9]*$")
    message(FATAL_ERROR "sbxml_embed_documents: MODULE ${arg_MODULE} is no C name")
  endif()
  set(_sbxml_ids)
  foreach(_sbxml_kind DESCRIPTIONS RULES)
    list(LENGTH arg_${_sbxml_kind} _sbxml_length)
    if(NOT _sbxml_length EQUAL 2)
      message(FATAL_ERROR "sbxml_embed_documents: ${_sbxml_kind} takes a file and an id")
    endif()
    list(GET arg_${_sbxml_kind} 1 _sbxml_id)
    if(NOT _sbxml_id MATCHES "^[0-9]+$" OR _sbxml_id LESS 1 OR _sbxml_id GREATER 65535)
      message(FATAL_ERROR "sbxml_embed_documents: the id ${_sbxml_id} is not within 1 to 65535")
    endif()
    list(APPEND _sbxml_ids ${_sbxml_id})
  endforeach()
  list(REMOVE_DUPLICATES _sbxml_ids)
  list(LENGTH _sbxml_ids _sbxml_length)
  if(NOT _sbxml_length EQUAL 2)
    message(FATAL_ERROR "sbxml_embed_documents: both documents have the id ${_sbxml_ids}")
  endif()
  get_target_property(_sbxml_modules ${target} SBXML_EMBEDDED_MODULES)
  if(arg_MODULE IN_LIST _sbxml_modules)
    message(FATAL_ERROR "sbxml_embed_documents: ${target} has a module ${arg_MODULE}; name another with MODULE")
  endif()
  set_property(TARGET ${target} APPEND PROPERTY SBXML_EMBEDDED_MODULES ${arg_MODULE})
endmacro()
