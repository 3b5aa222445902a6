# Installation: the library, the device libraries it links (the virtual scanner's by default),
# the public header, the device-library headers, the command-line program zetavoro, the CMake
# package and the pkg-config file. Tests, benchmarks and the demo are not installed.
#
#   find_package(zetaVoroSync)  ->  target zetaVoroSync::zetaVoroSync (brings the device libraries)
#   pkg-config --cflags --libs zetaVoroSync
include(CMakePackageConfigHelpers)

set(ZETA_CMAKE_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zetaVoroSync)

install(TARGETS zetaVoroSync zetaVoroDLPdev zetaCamera zetaImageLoad zetaVoroSim
  EXPORT zetaVoroSyncTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# The program is not part of the CMake package: hosts link the library, they do not import it.
# It finds the libraries through its install rpath, $ORIGIN/../lib.
install(TARGETS zetavoro RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/zetaVoroSync
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES
  ${PROJECT_SOURCE_DIR}/devices/include/zetaDeviceExport.h
  ${PROJECT_SOURCE_DIR}/devices/include/zetaVoroDLPdev.h
  ${PROJECT_SOURCE_DIR}/devices/include/zetaCamera.h
  ${PROJECT_SOURCE_DIR}/devices/include/zetaImageLoad.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/devices/sim/include/zetaVoroSim
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT zetaVoroSyncTargets
  NAMESPACE zetaVoroSync::
  DESTINATION ${ZETA_CMAKE_INSTALL_DIR})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/zetaVoroSyncConfig.cmake.in
  ${PROJECT_BINARY_DIR}/zetaVoroSyncConfig.cmake
  INSTALL_DESTINATION ${ZETA_CMAKE_INSTALL_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zetaVoroSyncConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/zetaVoroSyncConfig.cmake
  ${PROJECT_BINARY_DIR}/zetaVoroSyncConfigVersion.cmake
  DESTINATION ${ZETA_CMAKE_INSTALL_DIR})

# The .pc file finds the prefix relative to its own folder, so the installed tree can be moved
# (or installed with cmake --install --prefix) and still be right.
file(RELATIVE_PATH ZETA_PC_RELATIVE_PREFIX /root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /root)
string(REGEX REPLACE "/$" "" ZETA_PC_RELATIVE_PREFIX "${ZETA_PC_RELATIVE_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/zetaVoroSync.pc.in
  ${PROJECT_BINARY_DIR}/zetaVoroSync.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zetaVoroSync.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
