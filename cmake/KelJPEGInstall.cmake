# Installation: the header, the shared library (and optionally the static
# one), the keljpeg program, a CMake package (find_package(KelJPEG) gives
# KelJPEG::KelJPEG) and a pkg-config file (keljpeg.pc).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

option(KELJPEG_INSTALL_STATIC "Install the static library too, as KelJPEG::KelJPEG_static" ON)

set(KELJPEG_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/KelJPEG)

install(FILES ${PROJECT_SOURCE_DIR}/include/KelJPEG.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(TARGETS KelJPEG EXPORT KelJPEGTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT KelJPEGTargets NAMESPACE KelJPEG:: DESTINATION ${KELJPEG_CMAKE_DIR})

if(KELJPEG_INSTALL_STATIC)
  install(TARGETS KelJPEG_static EXPORT KelJPEGStaticTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(EXPORT KelJPEGStaticTargets NAMESPACE KelJPEG:: DESTINATION ${KELJPEG_CMAKE_DIR})
endif()

if(TARGET keljpeg)
  install(TARGETS keljpeg RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/KelJPEGConfig.cmake.in
  ${PROJECT_BINARY_DIR}/KelJPEGConfig.cmake
  INSTALL_DESTINATION ${KELJPEG_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KelJPEGConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KelJPEGConfig.cmake ${PROJECT_BINARY_DIR}/KelJPEGConfigVersion.cmake
  DESTINATION ${KELJPEG_CMAKE_DIR})

# The .pc file finds its prefix from its own place (${pcfiledir}), so an
# installed tree can be moved, and `cmake --install --prefix` needs no
# reconfigure.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(KELJPEG_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
  set(KELJPEG_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
else()
  file(RELATIVE_PATH KELJPEG_PC_UP "/root/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/root")
  string(REGEX REPLACE "/$" "" KELJPEG_PC_UP "${KELJPEG_PC_UP}")
  set(KELJPEG_PC_PREFIX "\${pcfiledir}/${KELJPEG_PC_UP}")
  set(KELJPEG_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
if(IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(KELJPEG_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
else()
  set(KELJPEG_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
# What a static link needs beyond the archive: the C++ runtime and threads.
set(KELJPEG_PC_LIBS_PRIVATE "-lstdc++ -lm -pthread")
configure_file(${CMAKE_CURRENT_LIST_DIR}/keljpeg.pc.in ${PROJECT_BINARY_DIR}/keljpeg.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/keljpeg.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
