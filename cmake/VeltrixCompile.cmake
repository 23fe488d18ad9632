# Compiler settings shared by every target of the project.

function(veltrix_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                           -Wcast-qual -Wformat=2 -Wundef)
  if(VELTRIX_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# Results of the library's arithmetic must not depend on the compiler's choice to
# fuse multiplies and adds.
function(veltrix_exact_float target)
  target_compile_options(${target} PRIVATE -ffp-contract=off -fno-fast-math)
endfunction()

# Calls between the library's own exported functions go direct (and may be
# inlined): nothing is meant to interpose on them. The linker binds calls
# across the library's files locally too, so they skip the PLT.
function(veltrix_no_interposition target)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -fno-semantic-interposition)
  endif()
  target_link_options(${target} PRIVATE -Wl,-Bsymbolic-functions)
endfunction()
