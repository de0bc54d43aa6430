# Defines what cmake --install installs of a build for Windows: what scripts/package puts into the zip.
install(TARGETS sturdy_comp RUNTIME DESTINATION bin ARCHIVE DESTINATION lib)
install(FILES ${PROJECT_SOURCE_DIR}/include/sturdy/sturdy.h
              ${PROJECT_SOURCE_DIR}/include/sturdy/client.h
              ${PROJECT_SOURCE_DIR}/include/sturdy/backoff.h
        DESTINATION include/sturdy)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION .)
configure_file(${PROJECT_SOURCE_DIR}/cmake/windows_readme.txt.in
               ${PROJECT_BINARY_DIR}/generated/README.txt @ONLY NEWLINE_STYLE CRLF)
install(FILES ${PROJECT_BINARY_DIR}/generated/README.txt DESTINATION .)
if(STURDY_BUILD_TOOLS)
  install(TARGETS sturdyctl RUNTIME DESTINATION bin)
endif()
