# sturdy_test(NAME SOURCES file... LAYERS layer... [LIBS target...] [TIMEOUT seconds])
# Adds a test program. Each of its cases is a ctest entry with its own time limit.
set(STURDY_TEST_ENVIRONMENT
    "ASAN_OPTIONS=detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1"
    "UBSAN_OPTIONS=print_stacktrace=1"
    "TSAN_OPTIONS=detect_deadlocks=1:second_deadlock_stack=1:halt_on_error=1")

function(sturdy_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LAYERS;LIBS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 60)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_compile_features(${name} PRIVATE cxx_std_20)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  foreach(layer IN LISTS ARG_LAYERS)
    target_link_libraries(${name} PRIVATE sturdy_${layer})
  endforeach()
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gmock GTest::gtest_main)
  sturdy_warnings(${name})
  # g++ 12 merges equal functions of two types, and then warns of the size of the other type.
  target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-ipa-icf>)
  sturdy_quick_under_sanitizer(${name})
  gtest_discover_tests(
    ${name}
    DISCOVERY_MODE PRE_TEST
    PROPERTIES TIMEOUT ${ARG_TIMEOUT} ENVIRONMENT "${STURDY_TEST_ENVIRONMENT}")
endfunction()
