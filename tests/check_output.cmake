# Runs a command that has to end with status 0 and to print all the expected texts.
# Usage: cmake -DRUN=COMMAND;ARGUMENT... -DEXPECTED=TEXT;... -P check_output.cmake
execute_process(COMMAND ${RUN} OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "status ${status}: ${errors}")
endif()
foreach(text IN LISTS EXPECTED)
  string(FIND "${output}" "${text}" place)
  if(place EQUAL -1)
    message(FATAL_ERROR "the output lacks ${text}:\n${output}")
  endif()
endforeach()
