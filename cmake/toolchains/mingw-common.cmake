# Shared part of the Windows cross toolchains: KELJPEG_CROSS_TRIPLE names the
# mingw-w64 target, KELJPEG_CROSS_THREADS its thread model (posix, or win32:
# Debian's default compilers, whose C++ library has no std::mutex or
# std::thread). Test programs run under wine when it is installed.
set(CMAKE_SYSTEM_NAME Windows)
if(NOT KELJPEG_CROSS_THREADS)
  set(KELJPEG_CROSS_THREADS posix)
endif()
set(CMAKE_C_COMPILER ${KELJPEG_CROSS_TRIPLE}-gcc-${KELJPEG_CROSS_THREADS})
set(CMAKE_CXX_COMPILER ${KELJPEG_CROSS_TRIPLE}-g++-${KELJPEG_CROSS_THREADS})
set(CMAKE_RC_COMPILER ${KELJPEG_CROSS_TRIPLE}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${KELJPEG_CROSS_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(KELJPEG_GTEST_FROM_SOURCE ON CACHE BOOL "" FORCE)
# No libgcc, libstdc++ or winpthread DLLs beside ours.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
# 64-bit programs need wine64, 32-bit ones the 32-bit loader (wine32:i386).
if(KELJPEG_CROSS_TRIPLE MATCHES "^x86_64")
  set(KELJPEG_WINE_LOADER /usr/lib/wine/wine64)
else()
  set(KELJPEG_WINE_LOADER /usr/lib/wine/wine)
endif()
find_program(KELJPEG_WINE NAMES wine)
if(KELJPEG_WINE AND EXISTS ${KELJPEG_WINE_LOADER})
  set(CMAKE_CROSSCOMPILING_EMULATOR ${KELJPEG_WINE})
endif()
