# kor_add_tests(NAME SOURCES ... [PLACED_SOURCES ...] [LIBRARIES ...] [DEFINITIONS ...]): one test
# program, each of its tests known to ctest by name. Only the placed sources get the definitions and
# KOR_SOURCE_DIR, which name folders of this very clone: the objects of all others are the same in every
# clone, and a compiler cache finds them.

include(GoogleTest)

option(KOR_WHOLE_TEST_PROGRAMS
       "Four ctest tests for each test program: a sanitizer starts slowly, and so seldom" OFF)

# What AddressSanitizer keeps back of freed memory is not the program's: tests of memory see less of it.
set(kor_test_environment "ASAN_OPTIONS=quarantine_size_mb=8")

function(kor_add_tests name)
  cmake_parse_arguments(arg "" "" "SOURCES;PLACED_SOURCES;LIBRARIES;DEFINITIONS" ${ARGN})
  add_executable(${name} ${arg_SOURCES} ${arg_PLACED_SOURCES})
  set_target_properties(${name} PROPERTIES KOR_UNOPTIMISED ON)
  target_link_libraries(${name} PRIVATE kor_options ${arg_LIBRARIES} GTest::gmock_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  if(KOR_PRECOMPILE)
    target_precompile_headers(${name} PRIVATE <gmock/gmock.h> <gtest/gtest.h> ${KOR_COMMON_HEADERS})
  endif()
  set_property(SOURCE ${arg_PLACED_SOURCES} PROPERTY
    COMPILE_DEFINITIONS KOR_SOURCE_DIR="${PROJECT_SOURCE_DIR}" ${arg_DEFINITIONS})
  if(KOR_WHOLE_TEST_PROGRAMS)
    foreach(shard RANGE 3)
      add_test(NAME ${name}.${shard} COMMAND ${name} --gtest_brief=1)
      set_property(TEST ${name}.${shard} PROPERTY ENVIRONMENT ${kor_test_environment}
        GTEST_TOTAL_SHARDS=4 GTEST_SHARD_INDEX=${shard})
    endforeach()
  else()
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
      PROPERTIES TIMEOUT 300 ENVIRONMENT ${kor_test_environment})
  endif()
endfunction()
