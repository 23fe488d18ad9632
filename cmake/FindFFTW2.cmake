# FindFFTW2: FFTW 2 in single precision, built with type-prefixed names
# (sfftw.h / srfftw.h, libsfftw / libsrfftw; Debian's sfftw-dev). FFTW 2
# ships no CMake package of its own, so this module finds it.
#
# Imported targets:
#   FFTW2::sfftw    complex transforms (sfftw.h, libsfftw)
#   FFTW2::srfftw   real transforms (srfftw.h, libsrfftw); links FFTW2::sfftw
#
# Result variables:
#   FFTW2_FOUND, FFTW2_INCLUDE_DIRS, FFTW2_LIBRARIES (real then complex, then libm)
#
# Cache variables: FFTW2_INCLUDE_DIR, FFTW2_SFFTW_LIBRARY, FFTW2_SRFFTW_LIBRARY.

find_path(FFTW2_INCLUDE_DIR NAMES srfftw.h)
find_library(FFTW2_SFFTW_LIBRARY NAMES sfftw)
find_library(FFTW2_SRFFTW_LIBRARY NAMES srfftw)
mark_as_advanced(FFTW2_INCLUDE_DIR FFTW2_SFFTW_LIBRARY FFTW2_SRFFTW_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(FFTW2
  REQUIRED_VARS FFTW2_SRFFTW_LIBRARY FFTW2_SFFTW_LIBRARY FFTW2_INCLUDE_DIR)

if(FFTW2_FOUND)
  set(FFTW2_INCLUDE_DIRS ${FFTW2_INCLUDE_DIR})
  # The libraries call the C maths library.
  set(FFTW2_LIBRARIES ${FFTW2_SRFFTW_LIBRARY} ${FFTW2_SFFTW_LIBRARY} m)
  if(NOT TARGET FFTW2::sfftw)
    add_library(FFTW2::sfftw UNKNOWN IMPORTED)
    set_target_properties(FFTW2::sfftw PROPERTIES
      IMPORTED_LOCATION "${FFTW2_SFFTW_LIBRARY}"
      INTERFACE_INCLUDE_DIRECTORIES "${FFTW2_INCLUDE_DIR}"
      INTERFACE_LINK_LIBRARIES m)
  endif()
  if(NOT TARGET FFTW2::srfftw)
    add_library(FFTW2::srfftw UNKNOWN IMPORTED)
    set_target_properties(FFTW2::srfftw PROPERTIES
      IMPORTED_LOCATION "${FFTW2_SRFFTW_LIBRARY}"
      INTERFACE_INCLUDE_DIRECTORIES "${FFTW2_INCLUDE_DIR}"
      INTERFACE_LINK_LIBRARIES FFTW2::sfftw)
  endif()
endif()
