# STURDY_SANITIZER: empty, "address" (with undefined behaviour and leaks), "thread", or "fuzzer"
# (address, with the coverage by which clang's libFuzzer finds its way).
# Directory-wide, since code with and without a sanitizer must not be mixed in one program.
if(STURDY_SANITIZER STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(STURDY_SANITIZER STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(STURDY_SANITIZER STREQUAL "fuzzer")
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined,float-cast-overflow
                      -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(NOT STURDY_SANITIZER STREQUAL "")
  message(FATAL_ERROR "STURDY_SANITIZER must be empty, address, thread or fuzzer, "
                      "not '${STURDY_SANITIZER}'.")
endif()

# sturdy_quick_under_sanitizer(TARGET)
# For what isn't shipped: the code under test keeps its -O1, and for the rest compiling is what takes
# time.
function(sturdy_quick_under_sanitizer target)
  if(STURDY_SANITIZER)
    target_compile_options(${target} PRIVATE -O0)
  endif()
endfunction()

# sturdy_follow_paths(TARGET)
# For what clang-tidy analyses path by path: it does so only in the file that it is given. The presets
# otherwise join the sources of a target, so that the headers of other projects are read once for all
# of them.
function(sturdy_follow_paths target)
  if(NOT STURDY_SANITIZER)
    set_target_properties(${target} PROPERTIES UNITY_BUILD OFF)
  endif()
endfunction()
