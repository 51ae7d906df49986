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

# jpg_add_test(name SOURCES file... [LIBS library...] [LABELS label...])
function(jpg_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gtest GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_compile_definitions(${name} PRIVATE JPG_CORPUS_DIR="${JPG_CORPUS_DIR}"
                                             JPG_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  jpg_set_warnings(${name})
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60)
  # The discovery would keep only the first of several labels.
  set(labels ${CMAKE_CURRENT_BINARY_DIR}/${name}_labels.cmake)
  file(CONFIGURE OUTPUT ${labels} CONTENT "if(@name@_TESTS)
  set_tests_properties(\${@name@_TESTS} PROPERTIES LABELS \"@ARG_LABELS@\")
endif()\n" @ONLY)
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${labels})
endfunction()
