# 64-bit Windows with Debian's mingw-w64 cross compiler (POSIX thread model,
# which provides std::mutex). The runtime libraries are linked statically so
# that KelJPEG.dll and the test programs need nothing beside the system DLLs.
set(KELJPEG_CROSS_TRIPLE x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
