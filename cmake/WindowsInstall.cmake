# Defines what cmake --install installs of a build for Windows: what scripts/package puts into the zip.
include(cmake/InstalledFiles.cmake)
install(TARGETS sturdy_comp RUNTIME DESTINATION bin ARCHIVE DESTINATION lib)
install(FILES ${sturdy_public_headers} DESTINATION include/sturdy)
install(FILES ${sturdy_pages} DESTINATION doc)
configure_file(${PROJECT_SOURCE_DIR}/cmake/windows_readme.txt.in
               ${PROJECT_BINARY_DIR}/generated/README.txt @ONLY NEWLINE_STYLE CRLF)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_BINARY_DIR}/generated/README.txt DESTINATION .)

# Sets the terms of what is linked into the DLL and the tool next to them, as their packages have them.
# Boost's licence doesn't ask for it.
function(sturdy_install_licence name package)
  install(FILES /usr/share/doc/${package}/copyright DESTINATION licences RENAME ${name}.txt)
endfunction()
sturdy_install_licence(gcc g++-mingw-w64-x86-64-posix)
sturdy_install_licence(mingw-w64 mingw-w64-x86-64-dev)
if(STURDY_BUILD_TOOLS)
  install(TARGETS sturdyctl RUNTIME DESTINATION bin)
  sturdy_install_licence(CLI11 libcli11-dev)
  sturdy_install_licence(d3 node-d3)
  sturdy_install_licence(nlohmann-json nlohmann-json3-dev)
endif()
