# Installs the library so that other projects find it with find_package(tessel_fft) or pkg-config:
# headers, the shared library, its CMake package (targets, config, version), tessel_fft.pc and LICENSE.
include(CMakePackageConfigHelpers)

set(TESSEL_CONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/tessel_fft)

install(TARGETS tessel_fft EXPORT tessel_fftTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/tessel_fft ${TESSEL_GENERATED_INCLUDE}/tessel_fft
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT tessel_fftTargets NAMESPACE tessel_fft:: DESTINATION ${TESSEL_CONFIG_DIR})

configure_package_config_file(cmake/tessel_fftConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/tessel_fftConfig.cmake INSTALL_DESTINATION ${TESSEL_CONFIG_DIR})
# The shared library's SONAME carries the major version, so the same major is what stays compatible.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/tessel_fftConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tessel_fftConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/tessel_fftConfigVersion.cmake DESTINATION ${TESSEL_CONFIG_DIR})

# The .pc file is written at install time, so that it names the prefix the files go to, also one given
# later with `cmake --install --prefix`.
install(CODE "
  set(TESSEL_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  set(TESSEL_PC_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
  set(TESSEL_PC_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
  set(TESSEL_PC_VERSION \"${PROJECT_VERSION}\")
  configure_file(\"${CMAKE_CURRENT_SOURCE_DIR}/cmake/tessel_fft.pc.in\"
    \"${CMAKE_CURRENT_BINARY_DIR}/tessel_fft.pc\" @ONLY)")
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tessel_fft.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
