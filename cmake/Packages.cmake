# Describes the three Debian packages that cpack makes, one for each component of the install. The
# "package" preset uses Debian's folders.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME sturdy-comp)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGE_CONTACT "sturdy_comp maintainers <maintainers@sturdy-comp.invalid>"
    CACHE STRING "Name and mail address of the packages' maintainer")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL runtime development)
if(STURDY_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

# dpkg-shlibdeps computes the dependencies on libraries that the packages link with.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)
set(library_package libsturdy-comp${PROJECT_VERSION_MAJOR})
set(about "
It keeps a list of link servers from a load-balancing document, fails over
from one LBS server to the next, and answers from its cache before any
server has responded.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# libcurl is loaded at run time, so dpkg-shlibdeps doesn't find it.
find_program(dpkg_query dpkg-query)
if(dpkg_query)
  execute_process(COMMAND ${dpkg_query} --search ${STURDY_CURL_PATH}
                  OUTPUT_VARIABLE curl_package ERROR_QUIET)
  string(REGEX MATCH "^[^:,]+" curl_package "${curl_package}")
  if(curl_package)
    set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${curl_package} (>= 7.85)")
  endif()
endif()
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "library that tells a messaging client where to connect${about}")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libsturdy-comp-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "where a messaging client connects - files to build clients${about}
.
This package contains the headers, the CMake and pkg-config files, guides
and examples.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME sturdyctl)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
    "where a messaging client connects - command line${about}
.
This package contains sturdyctl, which asks the library from a shell and plays
servers that fail.")

# The symbols file lists the exported functions with the version that introduced each. Packages of
# clients get their dependency from it.
file(STRINGS ${PROJECT_SOURCE_DIR}/src/sturdy_comp.map exported REGEX "^ +_Z")
list(TRANSFORM exported REPLACE "^ +(.*);" " \\1@Base 0.1.0\n")
string(JOIN "" exported ${exported})
file(CONFIGURE OUTPUT generated/debian/symbols @ONLY
     CONTENT "libsturdy_comp.so.${PROJECT_VERSION_MAJOR} ${library_package} #MINVER#\n${exported}")
# The trigger runs ldconfig once after an install, however many packages activate it.
file(WRITE ${PROJECT_BINARY_DIR}/generated/debian/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/generated/debian/symbols
                                               ${PROJECT_BINARY_DIR}/generated/debian/triggers)

set(CPACK_STURDY_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/FinishPackages.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/DropLdconfigScripts.cmake)
include(CPack)
