# 64-bit ARM with Debian's cross compiler, run under qemu-user.
set(KELJPEG_CROSS_TRIPLE aarch64-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross-common.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/${KELJPEG_CROSS_TRIPLE})
