# Runs the digitize example against its simulator and checks every line it
# prints. The example bounds its own waits; the time-out here is the last
# guard.
execute_process(COMMAND ${EXAMPLE} ${SIMULATOR} ${MODELS}
  OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE rc TIMEOUT 30)
set(expected "enter each point with ENTER
point 1: 100.000 50.000 mm
point 2: 308.500 169.500 mm
point 3: -3.000 200.000 mm
")
if(NOT rc STREQUAL "0")
  message(FATAL_ERROR "digitize ended with ${rc}\n${out}${err}")
endif()
if(NOT out STREQUAL expected)
  message(FATAL_ERROR "digitize printed:\n${out}\nexpected:\n${expected}")
endif()
