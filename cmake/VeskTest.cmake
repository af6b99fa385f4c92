# vesk_test(NAME [LIBRARIES ...] [SOURCES ...] [LABELS ...] [TIMEOUT seconds])
#
# A GoogleTest program NAME_test.cpp (and SOURCES), every case of it a CTest test.
find_package(GTest REQUIRED)
include(GoogleTest)

# What nearly every test includes, read once: the headers are most of what a test takes to compile.
# A program, since the flags of programs and of libraries differ.
add_executable(vesk_test_headers "${CMAKE_CURRENT_LIST_DIR}/empty_program.cpp")
set_target_properties(vesk_test_headers PROPERTIES
  RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
target_link_libraries(vesk_test_headers PRIVATE vesk_headers vesk_compiler GTest::gtest)
target_compile_options(vesk_test_headers PRIVATE -O0)
target_precompile_headers(vesk_test_headers PRIVATE
  <gtest/gtest.h> <chrono> <filesystem> <fstream> <functional> <map> <optional> <string> <thread>
  <vector>)

function(vesk_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "LIBRARIES;SOURCES;LABELS")
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 60)
  endif()
  add_executable(${name}_test ${name}_test.cpp ${arg_SOURCES})
  target_link_libraries(${name}_test PRIVATE
    vesk_test_surroundings ${arg_LIBRARIES} vesk_headers vesk_compiler GTest::gtest_main)
  # A test runs once; what it looks at is compiled as people run it.
  target_compile_options(${name}_test PRIVATE -O0)
  if(NOT arg_SOURCES MATCHES "\\.(c|m|mm)(;|$)")
    target_precompile_headers(${name}_test REUSE_FROM vesk_test_headers)
  endif()
  set_target_properties(${name}_test PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
  gtest_discover_tests(${name}_test DISCOVERY_MODE PRE_TEST
    TEST_PREFIX "${name}."
    PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}")
endfunction()
