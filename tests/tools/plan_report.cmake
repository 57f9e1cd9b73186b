# `konib plot --dry-run --stat --preview`: the figures on stdout, no output
# file, and a preview that xmllint takes as well-formed SVG.
file(MAKE_DIRECTORY ${OUT})
file(REMOVE ${OUT}/plot.hpgl ${OUT}/preview.svg)
execute_process(COMMAND ${KONIB} plot ${SAMPLE} --dry-run --stat --preview ${OUT}/preview.svg
                        -o ${OUT}/plot.hpgl
                RESULT_VARIABLE result OUTPUT_VARIABLE report ERROR_VARIABLE errors)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "konib failed (${result}): ${errors}")
endif()
if(EXISTS ${OUT}/plot.hpgl)
  message(FATAL_ERROR "a dry run wrote ${OUT}/plot.hpgl")
endif()
# The sample: six colours, eighteen paths that no join shortens.
foreach(figure "pens 6, pen changes 6 \\(document order 6\\); lifts 18 \\(document order 18\\)"
               "pen down [0-9.]+ mm; pen up [0-9.]+ mm \\(document order [0-9.]+ mm, 0\\.[0-9]+ of it\\)"
               "planning [0-9.]+ s; [0-9]+ bytes"
               "estimated plot time [0-9]+:[0-9][0-9]:[0-9][0-9]")
  if(NOT report MATCHES "${figure}")
    message(FATAL_ERROR "the report lacks /${figure}/:\n${report}")
  endif()
endforeach()
execute_process(COMMAND ${XMLLINT} --noout ${OUT}/preview.svg RESULT_VARIABLE lint ERROR_VARIABLE lintErrors)
if(NOT lint EQUAL 0)
  message(FATAL_ERROR "the preview is not well-formed: ${lintErrors}")
endif()
file(READ ${OUT}/preview.svg preview)
if(NOT preview MATCHES "stroke=\"#999\" stroke-width=\"0.15\" d=\"M" OR NOT preview MATCHES "pen up")
  message(FATAL_ERROR "the preview lacks the pen-up road or the legend")
endif()
