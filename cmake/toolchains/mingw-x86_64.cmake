# 64-bit Windows. This machine runs its programs under wine: the tests run there.
set(KONIB_MINGW_ARCH x86_64)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../../scripts/wine-run)
