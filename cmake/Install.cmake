# What `cmake --install` puts under the prefix: the library with its SONAME,
# the public headers, vexaplay with its manual page, a CMake package
# (find_package(VexaEngine CONFIG) gives VexaEngine::vexaengine) and a
# pkg-config file. The Windows builds install the DLL, its import library and
# the headers the same way; the SDK archive is made from such an install.
# The Linux library loads libcurl.so.4 and libasound.so.2 when a stream or a
# sound device first needs them, so they are not among its DT_NEEDED entries
# and the .pc file names no private dependency; a distribution package must
# still depend on both (libcurl4, libasound2), which shlibs tools cannot see.
include(CMakePackageConfigHelpers)

set(VEXA_CMAKE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/VexaEngine)

install(TARGETS vexaengine EXPORT VexaEngineTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES include/vexaengine.h include/vexaengine_version.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/vexaengine)

install(EXPORT VexaEngineTargets NAMESPACE VexaEngine:: DESTINATION ${VEXA_CMAKE_PACKAGE_DIR})
configure_package_config_file(cmake/VexaEngineConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/VexaEngineConfig.cmake INSTALL_DESTINATION ${VEXA_CMAKE_PACKAGE_DIR})
# A 0.x release may change the interface with each minor version.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/VexaEngineConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VexaEngineConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/VexaEngineConfigVersion.cmake DESTINATION ${VEXA_CMAKE_PACKAGE_DIR})

if(NOT WIN32)
  # Relative to the .pc file, so that the tree works wherever it is installed
  # (cmake --install --prefix chooses the prefix after configuration).
  file(RELATIVE_PATH VEXA_PC_TO_PREFIX /root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /root)
  configure_file(cmake/vexaengine.pc.in ${CMAKE_CURRENT_BINARY_DIR}/vexaengine.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vexaengine.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()
