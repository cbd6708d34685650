# Shared part of the Linux cross toolchains: KELJPEG_CROSS_TRIPLE names the
# Debian cross compiler. Libraries and headers are looked up only under the
# target's own root, so host-only libraries (such as the libjpeg peers used by
# some tests) are reported missing instead of being linked into a target
# binary that cannot load them.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${KELJPEG_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${KELJPEG_CROSS_TRIPLE}-g++)
set(CMAKE_FIND_ROOT_PATH /usr/${KELJPEG_CROSS_TRIPLE} /usr/lib/${KELJPEG_CROSS_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# GoogleTest is built from Debian's source tree for the target.
set(KELJPEG_GTEST_FROM_SOURCE ON CACHE BOOL "" FORCE)
