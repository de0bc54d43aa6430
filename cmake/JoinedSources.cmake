# The presets join the sources of a target, so that the headers of other projects are read once for all
# of them. These functions say where they don't.

# sturdy_follow_paths(TARGET)
# For what clang-tidy analyses path by path: it does so only in the file that it is given. A build with
# a sanitizer joins them.
function(sturdy_follow_paths target)
  if(NOT STURDY_SANITIZER)
    set_target_properties(${target} PROPERTIES UNITY_BUILD OFF)
  endif()
endfunction()

# sturdy_alone(TARGET file...)
# For sources of the folder that clang-tidy reads one by one, as for Windows.
function(sturdy_alone target)
  set_source_files_properties(
    ${ARGN} TARGET_DIRECTORY ${target} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()
