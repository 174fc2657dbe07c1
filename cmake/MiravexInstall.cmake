# What `cmake --install` lays out: the library in its two parts, the C functions over it, their headers, a CMake
# package, pkg-config files.

# The second part must stand beside the first.
install(TARGETS miravex miravex_readers miravex_host EXPORT MiravexTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library)
install(FILES ${PROJECT_SOURCE_DIR}/include/miravex/host_interface.h
  ${PROJECT_SOURCE_DIR}/include/miravex/miravex_host.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/miravex)
install(EXPORT MiravexTargets NAMESPACE Miravex:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Miravex)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/MiravexConfig.cmake.in
  ${PROJECT_BINARY_DIR}/MiravexConfig.cmake INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Miravex)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/MiravexConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/MiravexConfig.cmake ${PROJECT_BINARY_DIR}/MiravexConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Miravex)

# Relative to the file itself, so that the installed tree may be moved.
file(RELATIVE_PATH MIRAVEX_PREFIX_FROM_PKGCONFIG
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
foreach(package miravex miravex_host)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${package}.pc.in ${PROJECT_BINARY_DIR}/${package}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${package}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
