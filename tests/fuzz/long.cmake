# Lets one fuzzer run on: from its seeds and its kept corpus, with its
# dictionary, for KONIB_FUZZ_SECONDS seconds or KONIB_FUZZ_RUNS executions,
# whichever comes first. Then what it has grown is minimised together with
# the kept corpus (the smallest set of inputs that reaches the same
# coverage), less what the seeds reach alone, and that replaces the corpus.
# A crash, leak, timeout or sanitizer report fails the test and leaves the
# input in WORK/, named by its kind; the corpus is then left alone.
set(seconds 600)
if(DEFINED ENV{KONIB_FUZZ_SECONDS})
  set(seconds $ENV{KONIB_FUZZ_SECONDS})
endif()
set(runs 10000000)
if(DEFINED ENV{KONIB_FUZZ_RUNS})
  set(runs $ENV{KONIB_FUZZ_RUNS})
endif()
string(REPLACE "|" ";" seeds "${SEEDS}")
set(kept)
if(IS_DIRECTORY ${CORPUS})
  set(kept ${CORPUS})
endif()

file(MAKE_DIRECTORY ${WORK}/grown)
execute_process(COMMAND ${FUZZER} -dict=${DICT} -max_total_time=${seconds} -runs=${runs} -timeout=20
                        -print_final_stats=1 -artifact_prefix=${WORK}/ ${WORK}/grown ${kept} ${seeds}
  RESULT_VARIABLE result ERROR_FILE ${WORK}/fuzz.log)
file(STRINGS ${WORK}/fuzz.log done REGEX "^#[0-9]+\t(DONE|INITED) ")
file(STRINGS ${WORK}/fuzz.log executed REGEX "^stat::number_of_executed_units")
list(GET done -1 last)
message(STATUS "${last}")
message(STATUS "${executed}")
if(NOT result EQUAL 0)
  file(STRINGS ${WORK}/fuzz.log finding REGEX "ERROR|SUMMARY|artifact")
  string(REPLACE ";" "\n" finding "${finding}")
  message(FATAL_ERROR "the fuzzer found a fault (${result}); see ${WORK}/fuzz.log:\n${finding}")
endif()

# Minimise: the seeds go in first, so that only inputs that reach something
# the seeds do not are added; the seeds themselves are then taken out again.
set(merged ${WORK}/merged)
file(REMOVE_RECURSE ${merged})
file(MAKE_DIRECTORY ${merged})
set(seedNames)
foreach(folder IN LISTS seeds)
  file(GLOB files LIST_DIRECTORIES false ${folder}/*)
  foreach(file IN LISTS files)
    get_filename_component(name ${file} NAME)
    file(COPY ${file} DESTINATION ${merged})
    list(APPEND seedNames ${name})
  endforeach()
endforeach()
execute_process(COMMAND ${FUZZER} -merge=1 -timeout=20 ${merged} ${kept} ${WORK}/grown
  RESULT_VARIABLE result ERROR_FILE ${WORK}/merge.log)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "minimising the corpus failed (${result}); see ${WORK}/merge.log")
endif()
foreach(name IN LISTS seedNames)
  file(REMOVE ${merged}/${name})
endforeach()
file(REMOVE_RECURSE ${CORPUS})
file(COPY ${merged}/ DESTINATION ${CORPUS})
file(GLOB kept LIST_DIRECTORIES false ${CORPUS}/*)
list(LENGTH kept count)
message(STATUS "corpus ${CORPUS}: ${count} inputs")
