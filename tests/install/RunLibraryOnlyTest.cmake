# cmake -DMODE=top-level|subproject -DSOURCE_DIR=... -DWORK_DIR=... -DGENERATOR=...
#       -DCC=... -DCXX=... [-DLAUNCHER=...] [-DSYSTEM=-DVAR=value|...]
#       -P RunLibraryOnlyTest.cmake
#
# Builds the library with nothing to find: every find_package, find_library
# and find_path looks only in an empty directory, so a build that needed
# GoogleTest, Google Benchmark, OpenMP, libnoise, OpenEXR or libpng would fail
# to configure. The system libraries the library needs (OpenGL, GLU, Xlib)
# come in SYSTEM as the cache entries the calling build found for them.
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
  -DCMAKE_FIND_ROOT_PATH=${WORK_DIR}/nothing
  -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=ONLY
  -DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY
  -DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY
  -DVELTRIX_GTEST_SOURCE_DIR=${WORK_DIR}/nothing)
string(REPLACE "|" ";" system "${SYSTEM}")
list(APPEND isolated ${system})
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
  if(NOT LAST_OUTPUT MATCHES "^consumer ok: 4 workers, ids 0\\+1\\+2\\+3, det 2, rows 100, glu no error\n$")
    message(FATAL_ERROR "consumer of the subproject printed:\n${LAST_OUTPUT}")
  endif()
endif()
