# cmake -DNM=nm -DLIBRARY=file -P check_exports.cmake: the library exports the three functions of
# sturdy.h and nothing else.
execute_process(COMMAND ${NM} -D --defined-only --demangle ${LIBRARY}
                OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "[0-9a-f]+ [A-Za-z] " "" symbols "${symbols}")
set(expected
    "zo_sturdy::ExitSturdyEnvironment(int)
zo_sturdy::GetSturdyObject(int)
zo_sturdy::StartSturdyEnvironment(zo_sturdy::_ZOSturdyEnvironmentSettings const&)
")
string(REGEX MATCHALL "[^\n]+\n" symbols "${symbols}")
list(SORT symbols)
string(JOIN "" symbols ${symbols})
if(NOT symbols STREQUAL expected)
  message(FATAL_ERROR "exported:\n${symbols}\nexpected:\n${expected}")
endif()
