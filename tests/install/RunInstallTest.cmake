# cmake -DBUILD_DIR=... -DWORK_DIR=... -DCONSUMER_DIR=... -DGENERATOR=... -DCXX=... -P RunInstallTest.cmake

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  set(LAST_OUTPUT "${out}" PARENT_SCOPE)
endfunction()

# The program's dynamic section: the stand-alone host must be there although
# nothing calls it, and the unused library linked after it must not (the
# consumer is linked as needed, and Veltrix's no-as-needed must not leak).
function(expect_needed program how)
  run(readelf -d ${program})
  if(NOT LAST_OUTPUT MATCHES "NEEDED[^\n]*libveltrix_standalone_host\\.so")
    message(FATAL_ERROR "consumer built through ${how} does not need the stand-alone host:\n${LAST_OUTPUT}")
  endif()
  if(LAST_OUTPUT MATCHES "NEEDED[^\n]*libunused\\.so")
    message(FATAL_ERROR "consumer built through ${how} needs a library it never calls: "
      "no-as-needed leaked past the stand-alone host\n${LAST_OUTPUT}")
  endif()
endfunction()

function(expect_consumer_output text how)
  if(NOT text MATCHES "^consumer ok: 4 workers, ids 0\\+1\\+2\\+3, det 2, rows 100, glu no error\n$")
    message(FATAL_ERROR "consumer built through ${how} printed:\n${text}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(f veltrix/veltrix.h veltrix/vxVersion.h veltrix/vxStandaloneHost.h veltrix/vxTDraw.h Veltrix/VeltrixConfig.cmake
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
expect_needed(${WORK_DIR}/cmake-build/consumer "find_package")

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
run(${CXX} -shared -fPIC ${CONSUMER_DIR}/unused.cpp -o ${WORK_DIR}/libunused.so)
run(${CXX} -std=c++17 ${CONSUMER_DIR}/consumer.cpp -Wl,--as-needed ${flags} -L${WORK_DIR} -lunused
    -o ${WORK_DIR}/consumer-pc)
set(ENV{LD_LIBRARY_PATH} ${libdir}:${WORK_DIR})
run(${WORK_DIR}/consumer-pc)
expect_consumer_output("${LAST_OUTPUT}" "pkg-config")
expect_needed(${WORK_DIR}/consumer-pc "pkg-config")
