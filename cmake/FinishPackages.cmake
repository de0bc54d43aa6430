# Runs after cpack has staged the files and before it packs them. Adds what Debian wants of a package
# and a plain install doesn't have: compressed manual pages, a copyright file and a changelog.
file(READ ${CPACK_STURDY_SOURCE_DIR}/LICENSE license)
string(REGEX MATCH "Copyright \\(c\\) ([^\n]*)\n\n(.*)$" license "${license}")
set(holder "${CMAKE_MATCH_1}")
string(STRIP "${CMAKE_MATCH_2}" terms)
string(REPLACE "\n\n" "\n.\n" terms "${terms}")
string(REPLACE "\n" "\n " terms "${terms}")

# The newest entries of CHANGELOG.md, in Debian's form.
file(READ ${CPACK_STURDY_SOURCE_DIR}/CHANGELOG.md changes)
string(REGEX MATCH "\n## [^\n]*\n([^#]*)" changes "${changes}")
string(REGEX REPLACE "\n  ([^\n]*)" "\n    \\1" changes "${CMAKE_MATCH_1}")
string(REGEX REPLACE "(^|\n)- " "\\1  * " changes "${changes}")
string(STRIP "${changes}" changes)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)

# The page that sturdyctl writes has d3 in it. Its licence is the comment of the page.
file(READ ${CPACK_STURDY_SOURCE_DIR}/tools/timeline/page.html d3_terms)
string(REGEX MATCH "Copyright ([^\n]*)\n\n(Redistribution[^>]*)\n-->" d3_terms "${d3_terms}")
set(d3_holder "${CMAKE_MATCH_1}")
string(REPLACE "\n" "\n " d3_terms "${CMAKE_MATCH_2}")

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  set(root ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX})
  file(GLOB pages ${root}/share/man/man1/*.1)
  foreach(page IN LISTS pages)
    execute_process(COMMAND gzip -9nf ${page} COMMAND_ERROR_IS_FATAL ANY)
  endforeach()

  string(TOUPPER ${component} upper)
  set(folder ${root}/share/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  file(WRITE ${folder}/copyright
"Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/

Files: *
Copyright: ${holder}
License: Expat
 ${terms}
")
  if(component STREQUAL "tools")
    file(APPEND ${folder}/copyright "
Files: usr/bin/sturdyctl
Copyright: ${holder}
 ${d3_holder}
License: Expat and BSD-3-Clause
 ${terms}
 .
 ${d3_terms}
")
  endif()
  file(WRITE ${folder}/changelog
"${CPACK_PACKAGE_NAME} (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium

  ${changes}

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
  execute_process(COMMAND gzip -9nf ${folder}/changelog COMMAND_ERROR_IS_FATAL ANY)
endforeach()
