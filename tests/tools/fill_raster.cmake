# Plotted fills measured against the fills a browser paints.
#
# Each drawing of fills/ is plotted through the SVG virtual plotter, whose
# strokes are 0.3 mm wide and whose model says so (Konib.PenWidth), on a
# paper of the drawing's own page, so that the output page is the input page
# at scale 1. rsvg-convert rasterises both at 20 pixels per millimetre, the
# input's fills being the reference, and fill_raster.py measures the share
# of the reference covered by ink (at least 95 %) and the ink farther than
# half a pen width from the reference (at most 1 % of the ink). A drawing
# plotted with its fills outlined only must fail the measure: it shows that
# the measure can tell.
#
# Arguments: KONIB, RSVG, PYTHON, FILLS (the drawings' folder), MEASURE
# (fill_raster.py), OUT.
file(MAKE_DIRECTORY ${OUT})
set(drawings holes stars crossing lettering logo)
set(per_mm 20)
set(pen 0.3)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN} failed (${result}):\n${output}")
  endif()
  set(said "${output}" PARENT_SCOPE)
endfunction()

# Plots, rasterises and measures one drawing; sets `figures` and `fits`.
function(measure name fill)
  set(plotted ${OUT}/${name}.${fill}.svg)
  run(${KONIB} plot ${FILLS}/${name}.svg --model svg --paper 60x40 --fill ${fill} -o ${plotted})
  set(said "${said}" PARENT_SCOPE)
  run(${RSVG} -w 1200 -b white ${plotted} -o ${plotted}.png)
  run(${RSVG} -w 1200 -b white ${FILLS}/${name}.svg -o ${OUT}/${name}.png)
  execute_process(COMMAND ${PYTHON} ${MEASURE} ${OUT}/${name}.png ${plotted}.png ${per_mm} ${pen} 0.95 0.01
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  string(STRIP "${output}" output)
  set(figures "${output}" PARENT_SCOPE)
  if(result EQUAL 0)
    set(fits TRUE PARENT_SCOPE)
  else()
    set(fits FALSE PARENT_SCOPE)
  endif()
endfunction()

set(failed "")
set(all_areas 0)
set(all_strokes 0)
foreach(name ${drawings})
  measure(${name} hatch)
  if(NOT said MATCHES "([0-9]+) area\\(s\\) in ([0-9]+) stroke\\(s\\)")
    message(FATAL_ERROR "${name}: konib did not say how it hatched: ${said}")
  endif()
  math(EXPR all_areas "${all_areas} + ${CMAKE_MATCH_1}")
  math(EXPR all_strokes "${all_strokes} + ${CMAKE_MATCH_2}")
  message(STATUS "${name}: ${figures}; ${CMAKE_MATCH_1} areas in ${CMAKE_MATCH_2} strokes")
  if(NOT fits)
    list(APPEND failed ${name})
  endif()
endforeach()
math(EXPR lifts "${all_strokes} - ${all_areas}")
message(STATUS "all: ${all_areas} areas in ${all_strokes} strokes, ${lifts} lifts beyond one per area")

measure(logo outline)
message(STATUS "logo outlined only: ${figures}")
if(fits)
  message(FATAL_ERROR "the measure did not notice fills that were only outlined")
endif()
if(failed)
  message(FATAL_ERROR "hatching does not fill as the reference does: ${failed}")
endif()
