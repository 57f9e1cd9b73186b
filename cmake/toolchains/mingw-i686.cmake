# 32-bit Windows, the library's first home. This machine cannot run its
# programs: the build is compiled and its exports checked.
set(KONIB_MINGW_ARCH i686)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
