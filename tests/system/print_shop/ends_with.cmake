# -D PRINT_SHOP=<command> -D ARGUMENTS=<list> -D CODE=<exit code> -D TEXT=<part of what it says on either stream>
execute_process(
  COMMAND ${PRINT_SHOP} ${ARGUMENTS}
  RESULT_VARIABLE code
  OUTPUT_VARIABLE output
  ERROR_VARIABLE errors)
string(FIND "${output}${errors}" "${TEXT}" at)
if(NOT code STREQUAL CODE OR at EQUAL -1)
  message(FATAL_ERROR "ended with ${code} and said\n${output}${errors}")
endif()
