# SPDX-License-Identifier: MIT
# Tests: GoogleTest programs, discovered one by one. For another target and for
# MemorySanitizer, which must see every store, the library is built along, from Debian's sources.
set(JPG_GTEST_SOURCES /usr/src/googletest/googletest CACHE PATH "Sources of GoogleTest")
if(CMAKE_CROSSCOMPILING OR JPG_MSAN)
  add_subdirectory(${JPG_GTEST_SOURCES} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  foreach(library gtest gtest_main)
    if(NOT TARGET GTest::${library})
      add_library(GTest::${library} ALIAS ${library})
    endif()
  endforeach()
  # It can send results to a host by name, which static programs don't do and ours don't want.
  target_link_options(gtest INTERFACE -Wl,--no-warnings)
else()
  find_package(GTest REQUIRED)
endif()
include(GoogleTest)

# Half of the time of compiling a test goes into the headers of GoogleTest and of the C++ library. They
# are compiled once for all tests. ccache can't keep what is built so, and the presets gcc and clang do
# without, so that an include that is missing in a test is noticed.
set(precompile ON)
if(CMAKE_CXX_COMPILER_LAUNCHER)
  set(precompile OFF)
endif()
option(JPG_PRECOMPILED_HEADERS "Compile the headers that all tests include once" ${precompile})

# What tests are compiled with: they run as fast with less work of the compiler's.
function(jpg_test_options target)
  target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O1>)
  jpg_set_warnings(${target})
endfunction()

if(JPG_PRECOMPILED_HEADERS)
  # An executable, as the tests are: the options must be theirs.
  add_executable(jpg_test_headers EXCLUDE_FROM_ALL ${PROJECT_SOURCE_DIR}/tests/support/headers.cpp)
  target_link_libraries(jpg_test_headers PRIVATE GTest::gtest GTest::gtest_main)
  jpg_test_options(jpg_test_headers)
  target_precompile_headers(jpg_test_headers PRIVATE <gtest/gtest.h> <algorithm> <array> <cstdint>
    <cstdio> <cstdlib> <cstring> <functional> <memory> <string> <vector>)
endif()

# jpg_add_test(name SOURCES file... [LIBS library...] [LABELS label...])
function(jpg_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gtest GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_compile_definitions(${name} PRIVATE JPG_CORPUS_DIR="${JPG_CORPUS_DIR}"
                                             JPG_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  jpg_test_options(${name})
  if(JPG_PRECOMPILED_HEADERS)
    target_precompile_headers(${name} REUSE_FROM jpg_test_headers)
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60)
  # The discovery would keep only the first of several labels.
  set(labels ${CMAKE_CURRENT_BINARY_DIR}/${name}_labels.cmake)
  file(CONFIGURE OUTPUT ${labels} CONTENT "if(@name@_TESTS)
  set_tests_properties(\${@name@_TESTS} PROPERTIES LABELS \"@ARG_LABELS@\")
endif()\n" @ONLY)
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${labels})
endfunction()
