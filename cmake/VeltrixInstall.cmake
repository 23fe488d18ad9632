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
  cmake/FindFFTW2.cmake
  DESTINATION ${VELTRIX_CMAKE_DIR})

# The pkg-config files locate the prefix from their own place, so an installed
# tree can be moved.
file(RELATIVE_PATH VELTRIX_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" VELTRIX_PC_TO_PREFIX "${VELTRIX_PC_TO_PREFIX}")
# FFTW 2 for veltrix.pc's Libs and Cflags: its directories unless the compiler
# searches them anyway.
set(VELTRIX_PC_FFTW2_LIBS "")
set(VELTRIX_PC_FFTW2_CFLAGS "")
get_filename_component(_vx_fftw2_libdir "${FFTW2_SRFFTW_LIBRARY}" DIRECTORY)
if(NOT _vx_fftw2_libdir IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES AND
   NOT _vx_fftw2_libdir STREQUAL "/usr/lib")
  set(VELTRIX_PC_FFTW2_LIBS "-L${_vx_fftw2_libdir} ")
endif()
string(APPEND VELTRIX_PC_FFTW2_LIBS "-lsrfftw -lsfftw -lm")
if(NOT FFTW2_INCLUDE_DIR IN_LIST CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES)
  set(VELTRIX_PC_FFTW2_CFLAGS " -I${FFTW2_INCLUDE_DIR}")
endif()
foreach(pc veltrix veltrix-standalone-host)
  configure_file(cmake/${pc}.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${pc}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
