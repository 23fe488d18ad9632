# cmake -DCXX=... -DINCLUDE_DIR=... -DLIBRARY=.../libveltrix.so -DSOURCE=pixels.cpp
#       -DWORK_DIR=... -P RunPixelsTest.cmake
#
# Builds the same consumer of the library twice, with plain ISO flags and with
# flags that let the compiler contract multiplies and adds into fused
# multiply-adds, runs both and compares the bytes of the pixels they evaluate.

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
endfunction()

# On x86-64 the contracting build targets Haswell, which has FMA: it runs only
# on a processor that has it too. Elsewhere fused multiply-adds are part of
# the base instruction set that the compiler targets by default.
set(contract -std=gnu++17 -O2 -ffp-contract=fast)
cmake_host_system_information(RESULT platform QUERY OS_PLATFORM)
if(platform MATCHES "x86_64|AMD64|i.86")
  file(READ /proc/cpuinfo cpuinfo)
  if(NOT cpuinfo MATCHES "flags[^\n]* fma( |\n)")
    message("skipped: no FMA on this processor, so a contracting build cannot run here")
    return()
  endif()
  list(APPEND contract -march=haswell)
endif()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
get_filename_component(libdir ${LIBRARY} DIRECTORY)
foreach(build plain contract)
  if(build STREQUAL "plain")
    set(flags -std=c++17 -O2)
  else()
    set(flags ${contract})
  endif()
  run(${CXX} ${flags} -I${INCLUDE_DIR} ${SOURCE} ${LIBRARY} -Wl,-rpath,${libdir}
      -o ${WORK_DIR}/pixels-${build})
  run(${WORK_DIR}/pixels-${build} ${WORK_DIR}/pixels-${build}.bin)
endforeach()

execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${WORK_DIR}/pixels-plain.bin
                        ${WORK_DIR}/pixels-contract.bin RESULT_VARIABLE differ)
if(differ)
  string(JOIN " " shown ${contract})
  message(FATAL_ERROR "a consumer built with ${shown} evaluates other pixels than one "
                      "built with -std=c++17 -O2")
endif()
