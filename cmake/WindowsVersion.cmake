# Gives a program or a DLL for Windows the version that the system shows among its properties.
enable_language(RC)

# sturdy_version_resource(TARGET APP|DLL DESCRIPTION)
function(sturdy_version_resource target type description)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in
                 ${PROJECT_BINARY_DIR}/generated/${target}.rc @ONLY)
  target_sources(${target} PRIVATE ${PROJECT_BINARY_DIR}/generated/${target}.rc)
endfunction()
