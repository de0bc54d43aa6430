set(sturdy_link_time_options
    $<$<AND:$<CONFIG:Release>,$<CXX_COMPILER_ID:GNU>,$<NOT:$<BOOL:${WIN32}>>>:-flto=auto;-ffat-lto-objects>)

# One object library per layer. A layer sees the headers of all layers through the source
# root; the include test holds the rule that it uses only those below it.
function(sturdy_layer name)
  add_library(sturdy_${name} OBJECT ${ARGN})
  target_compile_features(sturdy_${name} PUBLIC cxx_std_20)
  target_include_directories(
    sturdy_${name} PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}
                          ${PROJECT_BINARY_DIR}/generated)
  set_target_properties(
    sturdy_${name}
    PROPERTIES POSITION_INDEPENDENT_CODE ON
               CXX_VISIBILITY_PRESET hidden
               VISIBILITY_INLINES_HIDDEN ON
               CXX_EXTENSIONS OFF)
  # Small code by default: the library is part of a client's download. sturdy_fast_sources names
  # what a benchmark needs faster. Each function has a section, so that the linker drops the unused.
  target_compile_options(
    sturdy_${name} PRIVATE $<$<CONFIG:Release>:-Os;-ffunction-sections;-fdata-sections>)
  # Optimising over all files makes the shared library a sixth smaller. The objects hold machine
  # code too, which is what tests and benchmarks link.
  target_compile_options(sturdy_${name} PRIVATE ${sturdy_link_time_options})
  # Symbols that are unique in the process would keep the library from being unloaded.
  target_compile_options(sturdy_${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
  target_link_libraries(sturdy_${name} PUBLIC Threads::Threads)
  sturdy_warnings(sturdy_${name})
  sturdy_follow_paths(sturdy_${name})
endfunction()

# sturdy_fast_sources(LAYER file...)
# Sources of the layer whose speed a benchmark measures: optimised for speed, not for size.
function(sturdy_fast_sources layer)
  set_source_files_properties(
    ${ARGN} TARGET_DIRECTORY sturdy_${layer} PROPERTIES COMPILE_OPTIONS "$<$<CONFIG:Release>:-O2>")
endfunction()
