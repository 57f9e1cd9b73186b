# Renders an HP-GL file with hp2xx and fails on any error or warning about it.
execute_process(COMMAND ${HP2XX} -m png -f ${OUTPUT} ${INPUT}
  RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
# hp2xx draws CI and AA as polygons of its own, and at some centres the
# closing chord of its polygon rounds to nothing: it then says "Zero line
# segment length -- skipped" for a file that holds nothing but a valid
# circle ("IN;SP1;PU9600,8800;CI1000;" is enough). That one message is about
# hp2xx's own polygon, not about the file, and is set aside.
string(REPLACE "Warning: Zero line segment length -- skipped" "" filtered "${out}${err}")
string(TOLOWER "${filtered}" all)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "hp2xx failed (${result}):\n${out}${err}")
endif()
# hp2xx ends with a count of the commands it did not understand.
string(REGEX MATCH "command\\(s\\) ignored: *([0-9]+)" ignored "${all}")
if(NOT ignored OR NOT CMAKE_MATCH_1 EQUAL 0)
  message(FATAL_ERROR "hp2xx ignored commands of the file:\n${out}${err}")
endif()
foreach(word "error" "warning" "unknown" "not supported")
  string(FIND "${all}" "${word}" at)
  if(NOT at EQUAL -1)
    message(FATAL_ERROR "hp2xx complained (${word}):\n${out}${err}")
  endif()
endforeach()
if(NOT EXISTS ${OUTPUT})
  message(FATAL_ERROR "hp2xx wrote no picture")
endif()
message(STATUS "hp2xx rendered ${INPUT}")
