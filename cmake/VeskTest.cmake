# vesk_test(NAME [LIBRARIES ...] [SOURCES ...] [LABELS ...] [TIMEOUT seconds])
#
# A GoogleTest program NAME_test.cpp (and SOURCES), every case of it a CTest test.
find_package(GTest REQUIRED)
include(GoogleTest)

function(vesk_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "LIBRARIES;SOURCES;LABELS")
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 60)
  endif()
  add_executable(${name}_test ${name}_test.cpp ${arg_SOURCES})
  target_link_libraries(${name}_test PRIVATE
    vesk_test_surroundings ${arg_LIBRARIES} vesk_headers vesk_compiler GTest::gtest_main)
  set_target_properties(${name}_test PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
  gtest_discover_tests(${name}_test DISCOVERY_MODE PRE_TEST
    TEST_PREFIX "${name}."
    PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}")
endfunction()
