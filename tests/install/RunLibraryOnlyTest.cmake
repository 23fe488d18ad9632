# cmake -DMODE=top-level|subproject -DSOURCE_DIR=... -DWORK_DIR=... -DGENERATOR=...
#       -DCC=... -DCXX=... [-DLAUNCHER=...]
#       -P RunLibraryOnlyTest.cmake
#
# Builds the library with only its own dependencies to find: every package
# that the tests, benchmarks and demonstrations use (GoogleTest, Google
# Benchmark, OpenMP, OpenEXR, libpng, Eigen, LAPACK) is disabled, so a build
# that still asked for one would fail to configure.
#   top-level   the source tree with tests, benchmarks and demonstrations off
#   subproject  a project that adds the source tree with add_subdirectory and
#               the default options, and builds and runs a consumer

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  set(LAST_OUTPUT "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR}/nothing)
set(isolated
  -G ${GENERATOR} -DCMAKE_C_COMPILER=${CC} -DCMAKE_CXX_COMPILER=${CXX}
  -DVELTRIX_GTEST_SOURCE_DIR=${WORK_DIR}/nothing)
foreach(package GTest benchmark OpenMP OpenEXR PNG Eigen3 LAPACK)
  list(APPEND isolated -DCMAKE_DISABLE_FIND_PACKAGE_${package}=ON)
endforeach()
if(LAUNCHER)
  list(APPEND isolated -DCMAKE_C_COMPILER_LAUNCHER=${LAUNCHER}
                       -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER})
endif()

if(MODE STREQUAL "top-level")
  run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build ${isolated}
      -DVELTRIX_BUILD_TESTS=OFF -DVELTRIX_BUILD_BENCH=OFF -DVELTRIX_BUILD_DEMOS=OFF)
  run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
  run(${CMAKE_COMMAND} --install ${WORK_DIR}/build --prefix ${WORK_DIR}/prefix)
else()
  run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/install/subproject -B ${WORK_DIR}/build
      ${isolated} -DVELTRIX_SOURCE_DIR=${SOURCE_DIR})
  run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
  run(${WORK_DIR}/build/consumer)
  if(NOT LAST_OUTPUT MATCHES "^consumer ok: 4 workers, ids 0\\+1\\+2\\+3, det 2, rows 100, fft dc 100, glu no error\n$")
    message(FATAL_ERROR "consumer of the subproject printed:\n${LAST_OUTPUT}")
  endif()
endif()
