# 32-bit Windows with Debian's mingw-w64 cross compiler; see mingw-w64-x86_64.cmake.
set(KELJPEG_CROSS_TRIPLE i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
