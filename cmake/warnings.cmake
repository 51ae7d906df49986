# SPDX-License-Identifier: MIT
# Programs in C link as C++ when the library is instrumented, for the instrument's own
# run-time library.
function(jpg_c_program target)
  if(JPG_SANITIZED)
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX)
  endif()
endfunction()

# The warning level of all our code.
function(jpg_set_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wcast-align -Wundef
    -Wdouble-promotion -Wformat=2 $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Woverloaded-virtual>
    $<$<BOOL:${JPG_WERROR}>:-Werror>)
endfunction()
