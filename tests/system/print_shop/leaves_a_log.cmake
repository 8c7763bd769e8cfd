# The example leaves a log beside itself, a wide file that begins with the summary. It is run from a copy, so that the
# log of someone's own runs stays as it is.
file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER})
list(POP_BACK PRINT_SHOP program) # behind what starts it, if anything does
file(COPY ${program} DESTINATION ${FOLDER})
get_filename_component(name ${program} NAME)
unset(ENV{SBXML_LOG_DIR})
execute_process(COMMAND ${PRINT_SHOP} ${FOLDER}/${name} --script circle --no-speed WORKING_DIRECTORY ${FOLDER} OUTPUT_QUIET
                RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "print_shop ended with ${status}")
endif()
file(READ ${FOLDER}/Logs/${MODULE}.Log bytes HEX)
string(HEX " SUMMARY LOG " ascii)
string(REGEX REPLACE "(..)" "\\100" summary "${ascii}")
string(FIND "${bytes}" "${summary}" at)
if(NOT bytes MATCHES "^fffe" OR at LESS 0 OR at GREATER 600)
  message(FATAL_ERROR "${FOLDER}/Logs/${MODULE}.Log does not begin with its mark and the summary")
endif()
