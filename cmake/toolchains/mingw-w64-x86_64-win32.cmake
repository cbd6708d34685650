# 64-bit Windows with Debian's default mingw-w64 compilers (the win32 thread
# model: no std::mutex or std::thread in their C++ library). The library
# builds with it; the test suite and the program use std::thread, so this
# toolchain builds the DLL and the C host only.
set(KELJPEG_CROSS_TRIPLE x86_64-w64-mingw32)
set(KELJPEG_CROSS_THREADS win32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
