set(STURDY_TEST_ENVIRONMENT
    "ASAN_OPTIONS=detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1"
    "UBSAN_OPTIONS=print_stacktrace=1"
    "TSAN_OPTIONS=detect_deadlocks=1:second_deadlock_stack=1:halt_on_error=1")

# Tests that can't pass under Wine, each with its reason; at most ten. A source that is about one room,
# such as posix or curl, isn't built for another system and doesn't count.
set(STURDY_NOT_UNDER_WINE
    # std::filesystem knows modes, not access control lists.
    KeyValueFileTest.SavesToAPrivateFile
    TqlogTest.FilesAreForTheUserAlone
    # The C++ runtime prints it with the point of the locale. The library has no such number.
    LogStreamTest.PrintsLongDoublesAsAClassicStreamDoes
    # A reader can't see whether the writer of a log lives.
    LogReaderTest.HoldsTheLineOfALivingWriterBack
    # Under Wine the peer sees an end in place of a reset, if a read was pending on the socket.
    LabTest.ResetReachesTheClient
    # Wine doesn't end a call when its handle is closed: a handshake goes on, other reads end at their
    # limit in real time.
    TimeOut.EndsEachStallOfAnAnswer
    TimeOut.EndsAHandshakeThatDrips
    # The lab can't serve https there, since no TLS library for the target is a package.
    CWinHttp.AcceptsAnyCertificate
    CWinHttpRedirect.NeverLeavesTls
    HttpClientTest.EachFailedTransferLeavesItsLineBeforeItsAnswer)
set(STURDY_TEST_FILTER)
if(WIN32)
  list(LENGTH STURDY_NOT_UNDER_WINE count)
  if(count GREATER 10)
    message(FATAL_ERROR "STURDY_NOT_UNDER_WINE has ${count} tests, and at most ten may be there.")
  endif()
  list(JOIN STURDY_NOT_UNDER_WINE "\n" lines)
  # For scripts/test, since the filter hides them.
  file(WRITE ${PROJECT_BINARY_DIR}/not_under_wine.txt "${lines}\n")
  list(JOIN STURDY_NOT_UNDER_WINE ":" names)
  set(STURDY_TEST_FILTER TEST_FILTER "-${names}")
endif()

# For code that tests only. A test runs for a moment, so building it is what takes time. Without
# -fno-lto each program would optimise the layers again.
function(sturdy_build_fast target)
  target_compile_options(${target} PRIVATE -O0)
  target_link_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-lto>)
endfunction()

# Headers of other projects take longer to compile than the tests that include them.
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/generated/test_headers.cpp CONTENT "")
add_library(sturdy_test_headers OBJECT ${PROJECT_BINARY_DIR}/generated/test_headers.cpp)
target_compile_features(sturdy_test_headers PRIVATE cxx_std_20)
target_link_libraries(sturdy_test_headers PRIVATE GTest::gmock nlohmann_json::nlohmann_json)
target_precompile_headers(sturdy_test_headers PRIVATE <gmock/gmock.h> <nlohmann/json.hpp>)
sturdy_warnings(sturdy_test_headers)
sturdy_build_fast(sturdy_test_headers)

# sturdy_test(NAME SOURCES file... LAYERS layer... [LIBS target...] [TIMEOUT seconds])
# Adds a test program. Each of its cases is a ctest entry with its own time limit.
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
  sturdy_build_fast(${name})
  target_precompile_headers(${name} REUSE_FROM sturdy_test_headers)
  gtest_discover_tests(
    ${name}
    ${STURDY_TEST_FILTER}
    DISCOVERY_MODE PRE_TEST
    # A program starts slowly under Wine.
    DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT ${ARG_TIMEOUT} ENVIRONMENT "${STURDY_TEST_ENVIRONMENT}")
endfunction()
