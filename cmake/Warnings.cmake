# Adds warnings target by target, so a project that adds this one as a sub-project keeps its flags.
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

# g++ 12 reports an overlapping copy where short strings are joined (GCC bug 105651).
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
