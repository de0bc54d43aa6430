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
