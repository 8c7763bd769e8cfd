# The two forms in which the code of src is used: the shared library `sbxml`, that which ships, and the headers
# alone for a module that only carries documents.

# The C++ runtime goes into the library: it then depends on the C library alone, and a host with another C++
# runtime, or with none, is not disturbed by ours. Sanitizers need the shared one.
option(SBXML_STATIC_CXX_RUNTIME "Link the C++ runtime into the library" ON)
option(SBXML_IPO "Optimise the library across its sources" OFF)

add_library(sbxml_headers INTERFACE)
add_library(sbxml::headers ALIAS sbxml_headers)
target_include_directories(
  sbxml_headers INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                          $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
set_target_properties(sbxml_headers PROPERTIES EXPORT_NAME headers)

add_library(sbxml SHARED)
add_library(sbxml::sbxml ALIAS sbxml)
# All objects, not only those that something refers to; the archive itself adds what the rooms link.
target_sources(sbxml PRIVATE $<TARGET_OBJECTS:sbxml_core>)
target_link_libraries(sbxml PUBLIC sbxml_headers PRIVATE sbxml_core)
set_target_properties(
  sbxml
  PROPERTIES VERSION ${PROJECT_VERSION}
             SOVERSION ${PROJECT_VERSION_MAJOR}
             LINKER_LANGUAGE CXX)

if(SBXML_IPO)
  include(CheckIPOSupported)
  check_ipo_supported()
  set_target_properties(sbxml_core sbxml PROPERTIES INTERPROCEDURAL_OPTIMIZATION ON)
endif()

if(WIN32)
  # sbxml.dll, with the nine names at their ordinals and no runtime but the system's. A file of definitions lists
  # the exports; the mark in the header is for the library's callers.
  set(version_tweak 0)
  if(PROJECT_VERSION_TWEAK)
    set(version_tweak ${PROJECT_VERSION_TWEAK})
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/sbxml.rc.in ${CMAKE_CURRENT_BINARY_DIR}/sbxml.rc @ONLY)
  target_sources(sbxml PRIVATE ${PROJECT_SOURCE_DIR}/cmake/sbxml.def ${CMAKE_CURRENT_BINARY_DIR}/sbxml.rc)
  set_target_properties(sbxml PROPERTIES PREFIX "" ARCHIVE_OUTPUT_NAME sbxml)
  target_link_options(sbxml PRIVATE LINKER:--exclude-all-symbols)
else()
  # The script hides what is not one of the nine names, the parser's and the runtime's symbols included.
  set(version_script ${PROJECT_SOURCE_DIR}/cmake/sbxml.map)
  target_link_options(sbxml PRIVATE LINKER:--version-script=${version_script})
  set_property(TARGET sbxml APPEND PROPERTY LINK_DEPENDS ${version_script})
  if(NOT SBXML_SANITIZE)
    target_link_options(sbxml PRIVATE LINKER:-z,defs)
    if(SBXML_STATIC_CXX_RUNTIME)
      target_link_options(sbxml PRIVATE -static-libstdc++ -static-libgcc)
    endif()
  endif()
endif()
