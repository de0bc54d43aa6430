# Values that the library uses where a client's settings are empty. Set them before you ship the
# library. The defaults are loopback names and addresses, so no look-up or packet leaves the machine.
set(STURDY_DEFAULT_LBS_URL "https://localhost/lbs/conf.jsp"
    CACHE STRING "First URL to ask for the LBS document: https, with the path /lbs/conf.jsp")
set(STURDY_DEFAULT_LBS_BACKUP_URL_1 "https://127.0.0.1/lbs/conf.jsp"
    CACHE STRING "Second URL to ask for the LBS document, in the form of the first")
set(STURDY_DEFAULT_LBS_BACKUP_URL_2 "https://127.0.0.2/lbs/conf.jsp"
    CACHE STRING "Third URL to ask for the LBS document, in the form of the first")
set(STURDY_DEFAULT_LINK "localhost:8080"
    CACHE STRING "Link server to use before any server has answered, as host:8080")
set(STURDY_DEFAULT_VLT_URL_1 "http://127.0.0.1"
    CACHE STRING "First download endpoint of the built-in document: an http URL with an IP address")
set(STURDY_DEFAULT_VLT_URL_2 "http://127.0.0.2"
    CACHE STRING "Second download endpoint of the built-in document, in the form of the first")
set(STURDY_DEFAULT_VLTDL_URL "http://localhost"
    CACHE STRING "Download URL of the built-in document: http")
set(STURDY_DEFAULT_STATISTICS_HOST "https://localhost"
    CACHE STRING "Where failures are reported until a document names another host: scheme and host only")
set(STURDY_DEFAULT_HTTP_DNS_DOMAIN "localhost"
    CACHE STRING "Domain name of the HTTP DNS service, which is asked by https on port 443")
foreach(number RANGE 1 6)
  set(STURDY_DEFAULT_HTTP_DNS_IPV4_${number} "127.0.0.${number}"
      CACHE STRING "IPv4 address ${number} of 6 of the HTTP DNS service, dotted")
endforeach()
set(STURDY_DEFAULT_HTTP_DNS_IPV6 "[::1]"
    CACHE STRING "IPv6 address of the HTTP DNS service, in brackets")

set(STURDY_MAX_BODY_BYTES 1048576
    CACHE STRING "Bytes to read of one answer; sturdy.h promises at most 1048576")
set(STURDY_MAX_TRANSFER_MS 30000
    CACHE STRING "Milliseconds for one answer over all redirects; sturdy.h promises at most 30000")
set(STURDY_MAX_CACHE_FILE_BYTES 16777216
    CACHE STRING "Bytes of the largest cache file; a longer one counts as damaged")

configure_file(${PROJECT_SOURCE_DIR}/base/built_in_values.h.in
               ${PROJECT_BINARY_DIR}/generated/base/built_in_values.h @ONLY)
