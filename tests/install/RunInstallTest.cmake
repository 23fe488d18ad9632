# cmake -DBUILD_DIR=... -DWORK_DIR=... -DCONSUMER_DIR=... -DGENERATOR=... -DCXX=... -P RunInstallTest.cmake

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  set(LAST_OUTPUT "${out}" PARENT_SCOPE)
endfunction()

function(expect_consumer_output text how)
  if(NOT text MATCHES "^consumer ok: 4 workers, ids 0\\+1\\+2\\+3, det 2, rows 100, fft dc 100\n$")
    message(FATAL_ERROR "consumer built through ${how} printed:\n${text}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(f veltrix/veltrix.h veltrix/vxStandaloneHost.h Veltrix/VeltrixConfig.cmake
          Veltrix/FindFFTW2.cmake
          Veltrix/VeltrixTargets.cmake pkgconfig/veltrix.pc pkgconfig/veltrix-standalone-host.pc
          libveltrix.so libveltrix_standalone_host.so)
  file(GLOB_RECURSE installed LIST_DIRECTORIES false ${prefix}/*)
  list(FILTER installed INCLUDE REGEX "/${f}$")
  if(NOT installed)
    message(FATAL_ERROR "not installed: ${f}")
  endif()
endforeach()

# find_package(Veltrix CONFIG REQUIRED)
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/cmake-build -G ${GENERATOR}
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run(${WORK_DIR}/cmake-build/consumer)
expect_consumer_output("${LAST_OUTPUT}" "find_package")

# pkg-config
file(GLOB_RECURSE pcfiles ${prefix}/*.pc)
list(FILTER pcfiles INCLUDE REGEX "/veltrix.pc$")
list(GET pcfiles 0 pcfile)
get_filename_component(pcdir ${pcfile} DIRECTORY)
get_filename_component(libdir ${pcdir} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pcdir})
run(pkg-config --cflags --libs veltrix veltrix-standalone-host)
string(STRIP "${LAST_OUTPUT}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CXX} -std=c++17 ${CONSUMER_DIR}/consumer.cpp ${flags} -o ${WORK_DIR}/consumer-pc)
set(ENV{LD_LIBRARY_PATH} ${libdir})
run(${WORK_DIR}/consumer-pc)
expect_consumer_output("${LAST_OUTPUT}" "pkg-config")
