# zeta_discover_tests(target [TEST_PREFIX prefix] [DISCOVERY_TIMEOUT s] [SHARDS n]
#                     [PROPERTIES name value ...])
#
# Registers the GoogleTests of a test program with CTest.
#
# On Linux every GoogleTest is a CTest test of its own (gtest_discover_tests, same arguments).
#
# In the Windows build every test runs under Wine, where starting a process costs a second or so
# on a loaded two-core machine: several hundred times what most tests take, and the suite has
# nearly 900. There a program is registered as SHARDS CTest tests (4 unless told), each one Wine
# process running one shard of the program's tests with GoogleTest's own sharding
# (GTEST_TOTAL_SHARDS, GTEST_SHARD_INDEX: test i runs in shard i mod SHARDS). Every test still
# runs, in a fresh process per shard and in the program's order; a failing shard's output names
# its failed tests. The shards get a time-out of 900 s, the sum of their tests' own bounds; the
# ENVIRONMENT of PROPERTIES is kept, the other properties apply to single tests and are dropped.
include(GoogleTest)

function(zeta_discover_tests target)
  if(NOT (WIN32 AND CMAKE_CROSSCOMPILING))
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "SHARDS" "")
    gtest_discover_tests(${target} ${arg_UNPARSED_ARGUMENTS})
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TEST_PREFIX;DISCOVERY_TIMEOUT;SHARDS" "PROPERTIES")
  if(NOT arg_SHARDS)
    set(arg_SHARDS 4)
  endif()
  set(environment "")
  set(properties ${arg_PROPERTIES})
  while(properties)
    list(POP_FRONT properties name value)
    if(name STREQUAL "ENVIRONMENT")
      list(APPEND environment ${value})
    endif()
  endwhile()
  math(EXPR last "${arg_SHARDS} - 1")
  foreach(index RANGE ${last})
    set(test "${arg_TEST_PREFIX}${target}.shard${index}of${arg_SHARDS}")
    add_test(NAME ${test} COMMAND ${target})
    set_tests_properties(${test} PROPERTIES
      TIMEOUT 900
      ENVIRONMENT "${environment};GTEST_TOTAL_SHARDS=${arg_SHARDS};GTEST_SHARD_INDEX=${index}")
  endforeach()
endfunction()
