# What a build for Windows takes from this machine: the sources of GoogleTest, and libraries that are
# headers alone. Links to their folders keep the other headers of /usr/include away.
if(STURDY_BUILD_TESTS)
  add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
endif()

file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/headers)
file(CREATE_LINK /usr/include/nlohmann ${PROJECT_BINARY_DIR}/headers/nlohmann SYMBOLIC)
file(CREATE_LINK /usr/include/CLI ${PROJECT_BINARY_DIR}/headers/CLI SYMBOLIC)
add_library(CLI11::CLI11 INTERFACE IMPORTED)
target_include_directories(CLI11::CLI11 SYSTEM INTERFACE ${PROJECT_BINARY_DIR}/headers)

add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
target_include_directories(nlohmann_json::nlohmann_json
                           SYSTEM INTERFACE ${PROJECT_BINARY_DIR}/headers)

file(CREATE_LINK /usr/include/boost ${PROJECT_BINARY_DIR}/headers/boost SYMBOLIC)
add_library(Boost::headers INTERFACE IMPORTED)
target_include_directories(Boost::headers SYSTEM INTERFACE ${PROJECT_BINARY_DIR}/headers)

# find_package takes these, since the targets are here.
foreach(package IN ITEMS cli11 nlohmann_json)
  file(WRITE ${CMAKE_FIND_PACKAGE_REDIRECTS_DIR}/${package}-config.cmake "")
endforeach()
