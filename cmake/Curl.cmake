# libcurl is compiled against, but loaded at run time: STURDY_CURL_FILE is the name that the loader
# would look for on behalf of a program that links against it.
find_package(CURL 7.85 REQUIRED)
get_target_property(curl_library CURL::libcurl IMPORTED_LOCATION)
if(NOT curl_library)
  get_target_property(curl_library CURL::libcurl IMPORTED_LOCATION_RELEASE)
endif()
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C ${CMAKE_READELF} -d ${curl_library}
  OUTPUT_VARIABLE curl_entries ERROR_QUIET)
if(NOT curl_entries MATCHES "soname: \\[([^]]+)\\]")
  message(FATAL_ERROR "libcurl must be a shared library, which ${curl_library} is not.")
endif()
set(STURDY_CURL_FILE ${CMAKE_MATCH_1})
file(REAL_PATH ${curl_library} STURDY_CURL_PATH)
