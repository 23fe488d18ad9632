# Installation: headers, the two libraries, the CMake package and pkg-config files.
include(CMakePackageConfigHelpers)

set(VELTRIX_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Veltrix)

install(TARGETS veltrix standalone_host standalone_host_link
  EXPORT VeltrixTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/veltrix)
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/veltrix
  FILES_MATCHING PATTERN "*.h")

install(EXPORT VeltrixTargets
  NAMESPACE Veltrix::
  DESTINATION ${VELTRIX_CMAKE_DIR})
configure_package_config_file(cmake/VeltrixConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/VeltrixConfig.cmake
  INSTALL_DESTINATION ${VELTRIX_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/VeltrixConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/VeltrixConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/VeltrixConfigVersion.cmake
  DESTINATION ${VELTRIX_CMAKE_DIR})

# The pkg-config files locate the prefix from their own place, so an installed
# tree can be moved.
file(RELATIVE_PATH VELTRIX_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" VELTRIX_PC_TO_PREFIX "${VELTRIX_PC_TO_PREFIX}")
foreach(pc veltrix veltrix-standalone-host)
  configure_file(cmake/${pc}.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${pc}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
