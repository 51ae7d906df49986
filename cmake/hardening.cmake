# SPDX-License-Identifier: MIT
# Hardening of what is delivered: the library and the tool. A test reads the flags of the built
# files (tests/product/package/check_hardening.py); docs/robustness.md has what they cost.
#
# Instrumented builds have checks of their own. The device's DLL has no C library to report to:
# its compiler gets none of this (cmake/device). -O0 has no _FORTIFY_SOURCE.
include(CheckCXXCompilerFlag)

option(JPG_HARDEN "Compile and link what is delivered with the hardening of compiler and linker" ON)

set(JPG_HARDEN_COMPILE)
set(JPG_HARDEN_NOT_IN_LOOPS)  # compile options of sources with hot loops
set(JPG_HARDEN_LINK)
if(JPG_HARDEN AND WIN32)
  # The stack protector would need a library of the compiler's, control-flow guard another linker.
  set(JPG_HARDEN_LINK LINKER:--dynamicbase LINKER:--nxcompat)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    list(APPEND JPG_HARDEN_LINK LINKER:--high-entropy-va)
  endif()
elseif(JPG_HARDEN AND NOT JPG_SANITIZED AND NOT JPG_DEVICE)
  set(JPG_HARDEN_LINK LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack LINKER:-z,text)
  set(JPG_HARDEN_NOT_IN_LOOPS -fno-stack-protector)
  set(JPG_HARDEN_COMPILE
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  set(wanted -fstack-protector-strong -fstack-clash-protection)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|i.86)$")
    list(APPEND wanted -fcf-protection=full)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    list(APPEND wanted -mbranch-protection=standard)
  endif()
  foreach(flag ${wanted})
    string(MAKE_C_IDENTIFIER "JPG_HAS${flag}" known)
    check_cxx_compiler_flag(${flag} ${known})
    if(${known})
      list(APPEND JPG_HARDEN_COMPILE ${flag})
    endif()
  endforeach()
endif()

function(jpg_harden target)
  target_compile_options(${target} PRIVATE ${JPG_HARDEN_COMPILE})
  get_target_property(type ${target} TYPE)
  if(type MATCHES "SHARED_LIBRARY|EXECUTABLE")
    target_link_options(${target} PRIVATE ${JPG_HARDEN_LINK})
  endif()
endfunction()
