# Expatw::Expatw: the UTF-16 build of the XML parser Expat as a static library, so that the library that is shipped
# depends on nothing but the C runtime. Position independent in the distribution's package.
find_path(Expatw_INCLUDE_DIR expat.h)
find_library(Expatw_LIBRARY NAMES libexpatw.a)
mark_as_advanced(Expatw_INCLUDE_DIR Expatw_LIBRARY)

if(Expatw_INCLUDE_DIR)
  file(STRINGS ${Expatw_INCLUDE_DIR}/expat.h _expatw_lines REGEX "^#define XML_(MAJOR|MINOR|MICRO)_VERSION")
  list(TRANSFORM _expatw_lines REPLACE "[^0-9]" "")
  list(JOIN _expatw_lines . Expatw_VERSION)
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(
  Expatw
  REQUIRED_VARS Expatw_LIBRARY Expatw_INCLUDE_DIR
  VERSION_VAR Expatw_VERSION)

if(Expatw_FOUND AND NOT TARGET Expatw::Expatw)
  add_library(Expatw::Expatw STATIC IMPORTED)
  set_target_properties(
    Expatw::Expatw
    PROPERTIES IMPORTED_LOCATION ${Expatw_LIBRARY}
               INTERFACE_INCLUDE_DIRECTORIES ${Expatw_INCLUDE_DIR}
               INTERFACE_COMPILE_DEFINITIONS "XML_UNICODE;XML_STATIC")
endif()
