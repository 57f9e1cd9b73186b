# `konib plot --order document` sends the bytes konib sent before it
# planned: the sample through one model, compared with the kept file.
execute_process(COMMAND ${KONIB} plot ${SAMPLE} --model ${MODEL} --order document -o ${OUT}
                RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "konib failed: ${result}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${OUT} ${GOLDEN} RESULT_VARIABLE differ)
if(differ)
  message(FATAL_ERROR "${OUT} differs from ${GOLDEN}")
endif()
