# Writes a header of static assertions from a document of structure descriptions: sizes and offsets that the
# document tells the library, checked by the compiler against the records of the program.
#   cmake -D DESCRIPTIONS=<xml> -D HEADER=<out> -P check_records.cmake
file(READ ${DESCRIPTIONS} document)
string(REGEX REPLACE "<!--([^-]|-[^-])*-->" "" document "${document}")
# These would split or join the elements of a list.
string(REGEX REPLACE "[][;]" "_" document "${document}")
string(REGEX MATCHALL "<JSStruct(Item)?[ \t\r\n][^>]*>" elements "${document}")

set(checks "/* Generated from descriptions.xml; changes are lost. */\n#include <stddef.h>\n\n")
set(record "")
foreach(element IN LISTS elements)
  foreach(attribute name size offset)
    set(${attribute} "")
    if(element MATCHES "[ \t\r\n]${attribute}=\"([^\"]*)\"")
      set(${attribute} ${CMAKE_MATCH_1})
    endif()
  endforeach()
  if(element MATCHES "^<JSStructItem")
    string(APPEND checks
           "_Static_assert(offsetof(${record}, ${name}) == ${offset}, \"offset of ${record}.${name}\");\n"
           "_Static_assert(sizeof(((${record}*)0)->${name}) == ${size}, \"size of ${record}.${name}\");\n")
  else()
    set(record ${name})
    string(APPEND checks "\n_Static_assert(sizeof(${record}) == ${size}, \"size of ${record}\");\n")
  endif()
endforeach()
if(record STREQUAL "")
  message(FATAL_ERROR "${DESCRIPTIONS}: no JSStruct found")
endif()
file(WRITE ${HEADER} "${checks}")
