# Warnings are given to targets by name, so that a project that adds this one as a
# sub-project keeps its own flags.
set(STURDY_WARNINGS
    -Wall
    -Wextra
    -Wpedantic
    -Wshadow
    -Wcast-align
    -Woverloaded-virtual
    -Wformat=2
    -Wundef
    -Wextra-semi)

# g++ 12 takes the joining of short strings for an overlapping copy (its bug 105651).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  list(APPEND STURDY_WARNINGS -Wno-restrict)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  list(APPEND STURDY_WARNINGS -Wthread-safety)
endif()

function(sturdy_warnings target)
  target_compile_options(${target} PRIVATE ${STURDY_WARNINGS})
  if(STURDY_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
