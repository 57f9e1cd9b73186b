# The SVG virtual plotter's output against its input, rasterised alike.
#
# The sample is plotted on a paper of its own page size, so that the output
# page is the input page at scale 1, with the pen map that gives each colour
# its own stroke colour. Text is taken out of the drawing first: a plotter
# letters in its own hand, not in the drawing's font, so letters cannot
# match pixel for pixel. Both pages are rasterised at
# 5 pixels per millimetre, and compare_raster.py counts ink pixels with no
# ink of the other picture within 1 pixel (0.2 mm): chords stay within
# 0.05 mm of a curve and coordinates are printed to 0.01 mm, so a right plot
# differs by antialiasing and joins alone. The limit, 0.1 % of the ink, lies
# below what the smallest shape of the sample (a 4 mm triangle, 0.23 %) is
# worth, and the test shows that too: the same drawing without that
# triangle must fail the comparison.
file(MAKE_DIRECTORY ${OUT})
file(READ ${SAMPLE} text)
string(REGEX REPLACE "<text[^>]*>[^<]*</text>" "" text "${text}")
file(WRITE ${OUT}/input.svg "${text}")
string(REPLACE " M 228 103 l 4 0 l 0 4 z" "" less "${text}")
if(less STREQUAL text)
  message(FATAL_ERROR "the sample no longer holds the small triangle this test takes out")
endif()
file(WRITE ${OUT}/less.svg "${less}")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN} failed (${result}):\n${output}")
  endif()
endfunction()

set(pens black=1,red=2,green=3,blue=4,orange=5,purple=6)
foreach(name input less)
  run(${KONIB} plot ${OUT}/${name}.svg --model svg --paper 280x190 --pen-map ${pens} -o ${OUT}/${name}.plotted.svg)
  run(${RSVG} -w 1400 -b white ${OUT}/${name}.plotted.svg -o ${OUT}/${name}.plotted.png)
endforeach()
run(${RSVG} -w 1400 -b white ${OUT}/input.svg -o ${OUT}/input.png)

execute_process(COMMAND ${PYTHON} ${COMPARE} ${OUT}/input.png ${OUT}/input.plotted.png 1 0.001
  RESULT_VARIABLE same OUTPUT_VARIABLE figures ERROR_VARIABLE figures)
message(STATUS "the plotted sample: ${figures}")
if(NOT same EQUAL 0)
  message(FATAL_ERROR "the SVG virtual plotter's picture differs from the drawing")
endif()
execute_process(COMMAND ${PYTHON} ${COMPARE} ${OUT}/input.png ${OUT}/less.plotted.png 1 0.001
  RESULT_VARIABLE differ OUTPUT_VARIABLE figures ERROR_VARIABLE figures)
message(STATUS "without the small triangle: ${figures}")
if(differ EQUAL 0)
  message(FATAL_ERROR "the comparison did not notice a missing shape")
endif()
