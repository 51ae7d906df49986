# Tests: GoogleTest programs, discovered one by one.
find_package(GTest REQUIRED)
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
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
                       PROPERTIES LABELS "${ARG_LABELS}")
endfunction()
