# Installs the build into an empty prefix and builds a small program against
# the installed package three times: with find_package(KoNib), with
# pkg-config and with a plain compiler line. Each must run and draw its line
# with no LD_LIBRARY_PATH, so the installed library must find its sibling
# beside it. The installed konib must find its library and its models.
file(REMOVE_RECURSE ${PREFIX})
unset(ENV{LD_LIBRARY_PATH})
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN} failed (${result}):\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${PREFIX})
foreach(file include/KoNib.h lib/cmake/KoNib/KoNibConfig.cmake lib/pkgconfig/KoNib.pc bin/konib
             share/konib/models/hpgl.ini share/konib/models/hpgl2.ini share/konib/models/dxygl.ini
             share/konib/models/svg.ini share/konib/models/digitizer.ini share/konib/models/gcode.ini
             share/konib/models/gpgl.ini share/konib/models/cammgl.ini share/konib/models/dmpl.ini
             share/konib/models/hp75xx.ini share/konib/models/ebb.ini share/konib/sample.svg)
  if(NOT EXISTS ${PREFIX}/${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()
set(expected "M2,4;L8,12;")

# With CMake.
run(${CMAKE_COMMAND} -S ${CONSUMER} -B ${PREFIX}/consumer-cmake -G ${GENERATOR} -DCMAKE_PREFIX_PATH=${PREFIX}
    -DCMAKE_C_COMPILER=${COMPILER})
run(${CMAKE_COMMAND} --build ${PREFIX}/consumer-cmake)
run(${PREFIX}/consumer-cmake/consumer)
if(NOT output MATCHES "^${expected}\n$")
  message(FATAL_ERROR "the CMake consumer drew \"${output}\", not \"${expected}\"")
endif()

# With pkg-config, the tree's own file found through PKG_CONFIG_PATH.
set(ENV{PKG_CONFIG_PATH} ${PREFIX}/lib/pkgconfig)
run(pkg-config --cflags --libs KoNib)
string(STRIP "${output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${COMPILER} ${CONSUMER}/consumer.c -o ${PREFIX}/consumer-pkgconfig ${flags} -Wl,-rpath,${PREFIX}/lib)
run(${PREFIX}/consumer-pkgconfig)
if(NOT output MATCHES "^${expected}\n$")
  message(FATAL_ERROR "the pkg-config consumer drew \"${output}\", not \"${expected}\"")
endif()

# With a plain compiler line, as the README gives it.
run(${COMPILER} ${CONSUMER}/consumer.c -o ${PREFIX}/consumer-plain -I${PREFIX}/include -L${PREFIX}/lib -lKoNib
    -Wl,-rpath,${PREFIX}/lib)
run(${PREFIX}/consumer-plain)
if(NOT output MATCHES "^${expected}\n$")
  message(FATAL_ERROR "the plain consumer drew \"${output}\", not \"${expected}\"")
endif()

# The installed konib, with its installed models and sample.
run(${PREFIX}/bin/konib plot ${PREFIX}/share/konib/sample.svg --model hpgl -o ${PREFIX}/sample.hpgl)
file(READ ${PREFIX}/sample.hpgl plotted LIMIT 11 HEX)
if(NOT plotted STREQUAL "494e3b44463b50413b0d0a")  # IN;DF;PA; CR LF
  message(FATAL_ERROR "the installed konib plotted \"${plotted}\"")
endif()
# The G-code models call the extension module penstate, installed beside
# the library: the pen goes down once for the first line, and not again
# before the second line of the same stroke.
run(${PREFIX}/bin/konib plot ${PREFIX}/share/konib/sample.svg --model gcode -o ${PREFIX}/sample.gcode)
file(READ ${PREFIX}/sample.gcode plotted)
string(FIND "${plotted}" "M3 S30\nG4 P0.15\nG1 " down)
string(FIND "${plotted}" "F1500\nG1 " along)
if(down EQUAL -1 OR along EQUAL -1)
  message(FATAL_ERROR "the installed konib plotted G-code without the pen module:\n${plotted}")
endif()
message(STATUS "installed, and built against with CMake, pkg-config and a plain compiler line")
