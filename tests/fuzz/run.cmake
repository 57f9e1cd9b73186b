# Runs the fuzzer over its seeds and kept corpus, then for a fixed series of
# mutations of them. What it finds new goes into a scratch folder, emptied
# first, so the seeds and the corpus stay as they are and every run is the
# same. SEEDS is a list of folders divided by '|'; a missing one is passed
# over (a fuzzer whose corpus has not grown yet).
file(REMOVE_RECURSE ${SCRATCH})
file(MAKE_DIRECTORY ${SCRATCH})
string(REPLACE "|" ";" folders "${SEEDS}")
set(inputs)
foreach(folder IN LISTS folders)
  if(IS_DIRECTORY ${folder})
    list(APPEND inputs ${folder})
  endif()
endforeach()
execute_process(COMMAND ${FUZZER} -seed=1 -runs=${RUNS} -timeout=20 -dict=${DICT} ${SCRATCH} ${inputs}
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "the fuzzer failed (${result}); the input that failed is in the working folder")
endif()
