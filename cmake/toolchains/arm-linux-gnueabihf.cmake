# 32-bit ARM (hard-float EABI) with Debian's cross compiler; binaries run
# under qemu-user with the target's runtime libraries as the file-system prefix.
set(KELJPEG_CROSS_TRIPLE arm-linux-gnueabihf)
set(CMAKE_SYSTEM_PROCESSOR arm)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross-common.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/${KELJPEG_CROSS_TRIPLE})
