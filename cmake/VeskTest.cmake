# vesk_test(NAME [LIBRARIES ...] [SOURCES ...] [LABELS ...] [TIMEOUT seconds])
#
# A GoogleTest program tests/NAME_test.cpp (and SOURCES), every case of it a CTest test.
find_package(GTest REQUIRED)
include(GoogleTest)

function(vesk_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "LIBRARIES;SOURCES;LABELS")
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 60)
  endif()
  string(REGEX REPLACE "^.*/" "" base ${name})
  add_executable(${base}_test ${name}_test.cpp ${arg_SOURCES})
  target_include_directories(${base}_test PRIVATE "${PROJECT_SOURCE_DIR}/tests")
  target_link_libraries(${base}_test PRIVATE ${arg_LIBRARIES} vesk_compiler GTest::gtest_main)
  set_target_properties(${base}_test PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
  gtest_discover_tests(${base}_test DISCOVERY_MODE PRE_TEST
    TEST_PREFIX "${base}."
    PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}")
endfunction()
