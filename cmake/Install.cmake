# Defines what cmake --install installs, in three components: runtime (the library), development
# (headers, CMake package, pkg-config file, guides, examples) and tools (sturdyctl). No installed file
# contains the prefix, so the installed tree can be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
include(cmake/InstalledFiles.cmake)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/sturdy_comp)
install(
  TARGETS sturdy_comp
  EXPORT sturdy_comp
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          COMPONENT runtime
          NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${sturdy_public_headers}
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/sturdy COMPONENT development)

install(EXPORT sturdy_comp NAMESPACE sturdy:: DESTINATION ${package_dir}
        FILE sturdy_comp-targets.cmake COMPONENT development)
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/sturdy_comp-config.cmake.in
  ${PROJECT_BINARY_DIR}/generated/sturdy_comp-config.cmake
  INSTALL_DESTINATION ${package_dir}
  NO_SET_AND_CHECK_MACRO)
# In 0.x a new minor version may change the source interface, so a client names the one it needs.
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/generated/sturdy_comp-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/generated/sturdy_comp-config.cmake
              ${PROJECT_BINARY_DIR}/generated/sturdy_comp-config-version.cmake
        DESTINATION ${package_dir} COMPONENT development)

# Sets `out` to the relative path, prefixed by the fourth argument, from one folder of the installed
# tree to another. Sets it to an absolute path if one of the folders is given as one.
function(sturdy_relative_path out from to)
  if(IS_ABSOLUTE "${to}" OR IS_ABSOLUTE "${from}")
    cmake_path(ABSOLUTE_PATH to BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" NORMALIZE)
    set(${out} "${to}" PARENT_SCOPE)
    return()
  endif()
  file(RELATIVE_PATH path "/${from}" "/${to}")
  set(${out} "${ARGN}${path}" PARENT_SCOPE)
endfunction()

set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
sturdy_relative_path(pc_libdir ${pc_dir} ${CMAKE_INSTALL_LIBDIR} "\${pcfiledir}/")
sturdy_relative_path(pc_includedir ${pc_dir} ${CMAKE_INSTALL_INCLUDEDIR} "\${pcfiledir}/")
configure_file(${PROJECT_SOURCE_DIR}/cmake/sturdy_comp.pc.in
               ${PROJECT_BINARY_DIR}/generated/sturdy_comp.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/generated/sturdy_comp.pc
        DESTINATION ${pc_dir} COMPONENT development)

# The packages have a copyright file instead.
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT license)
install(FILES ${sturdy_pages} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${CMAKE_INSTALL_DOCDIR}
        COMPONENT development)

if(STURDY_BUILD_TOOLS)
  # The packages use the system's folders and so build without it (CMAKE_SKIP_INSTALL_RPATH).
  sturdy_relative_path(rpath ${CMAKE_INSTALL_BINDIR} ${CMAKE_INSTALL_LIBDIR} "\$ORIGIN/")
  set_target_properties(sturdyctl PROPERTIES INSTALL_RPATH "${rpath}")
  install(TARGETS sturdyctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)

  # The tool writes both, from the definitions of its --help.
  set(pages ${PROJECT_BINARY_DIR}/generated/pages)
  add_custom_command(
    OUTPUT ${pages}/sturdyctl.1 ${pages}/sturdyctl
    COMMAND ${CMAKE_COMMAND} -E make_directory ${pages}
    COMMAND sturdyctl --man > ${pages}/sturdyctl.1
    COMMAND sturdyctl --bash-completion > ${pages}/sturdyctl
    DEPENDS sturdyctl
    VERBATIM)
  add_custom_target(sturdyctl_pages ALL DEPENDS ${pages}/sturdyctl.1 ${pages}/sturdyctl)
  install(FILES ${pages}/sturdyctl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  install(FILES ${pages}/sturdyctl
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
endif()
