# Runs the example for one script in an empty folder and compares the file and the output, byte for byte.
#   GOLDEN/<script>.xml   what SBXBinaryToXML_File writes: UTF-16 with its mark
#   GOLDEN/<script>.txt   what the program prints: the same XML, indented, in UTF-8, and what came back
# WITHOUT_BREAKS: less the line breaks that MSXML sets between elements, the CR that it and the C library set before each
# line feed, and the number of characters, which counts both.
# SBXML_UPDATE_GOLDEN=1 in the environment takes over what is there; read the difference before it is committed.
file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER})
execute_process(
  COMMAND ${PRINT_SHOP} --script ${SCRIPT} --no-speed
  WORKING_DIRECTORY ${FOLDER}
  OUTPUT_FILE ${FOLDER}/${SCRIPT}.txt
  RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "print_shop --script ${SCRIPT} ended with ${status}")
endif()

# must_say_the_same(<file> <what is written> <what is expected>)
function(must_say_the_same file written expected)
  if(NOT "${written}" STREQUAL "${expected}")
    message(SEND_ERROR "${FOLDER}/${file} does not say the same as ${GOLDEN}/${file}")
  endif()
endfunction()

if(WITHOUT_BREAKS)
  foreach(place FOLDER GOLDEN)
    file(READ ${${place}}/${SCRIPT}.xml hex HEX)
    string(REGEX REPLACE "(....)" "\\1 " units "${hex}")
    string(REGEX REPLACE "0d00 0a00 (0900 )*(3c00 |$)" "\\2" units "${units}")
    string(REPLACE "0d00 0a00 " "0a00 " units_${place} "${units}")
    file(READ ${${place}}/${SCRIPT}.txt printed)
    string(REGEX REPLACE "\r+\n" "\n" printed "${printed}")
    string(REGEX REPLACE "became [0-9]+ characters" "became characters" printed_${place} "${printed}")
  endforeach()
  must_say_the_same(${SCRIPT}.xml "${units_FOLDER}" "${units_GOLDEN}")
  must_say_the_same(${SCRIPT}.txt "${printed_FOLDER}" "${printed_GOLDEN}")
  return()
endif()

foreach(file ${SCRIPT}.xml ${SCRIPT}.txt)
  if(DEFINED ENV{SBXML_UPDATE_GOLDEN})
    file(COPY_FILE ${FOLDER}/${file} ${GOLDEN}/${file})
  endif()
  execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${FOLDER}/${file} ${GOLDEN}/${file} RESULT_VARIABLE differs)
  if(differs)
    message(SEND_ERROR "${FOLDER}/${file} is not the same as ${GOLDEN}/${file}")
  endif()
endforeach()
