# The library is compiled with libcurl's headers and loads libcurl at run time. Sets STURDY_CURL_FILE
# to the soname that the loader would search for if the library were linked with it.
find_package(CURL 7.85 REQUIRED)
get_target_property(curl_library CURL::libcurl IMPORTED_LOCATION)
if(NOT curl_library)
  get_target_property(curl_library CURL::libcurl IMPORTED_LOCATION_RELEASE)
endif()
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C ${CMAKE_READELF} -d ${curl_library}
  OUTPUT_VARIABLE curl_entries ERROR_QUIET)
if(NOT curl_entries MATCHES "soname: \\[([^]]+)\\]")
  message(FATAL_ERROR "libcurl must be a shared library, and ${curl_library} isn't.")
endif()
set(STURDY_CURL_FILE ${CMAKE_MATCH_1})
file(REAL_PATH ${curl_library} STURDY_CURL_PATH)
