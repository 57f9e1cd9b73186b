# Runs the fuzzer for a fixed series of mutations of the seeds. What it finds
# new goes into a scratch folder, emptied first, so the seeds stay as they are
# and every run is the same.
file(REMOVE_RECURSE ${SCRATCH})
file(MAKE_DIRECTORY ${SCRATCH})
execute_process(COMMAND ${FUZZER} -seed=1 -runs=${RUNS} -timeout=20 -dict=${DICT} ${SCRATCH} ${SEEDS}
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "the fuzzer failed (${result}); the input that failed is in the working folder")
endif()
