# What cmake --install lays down, in three components: runtime (the library), development (header,
# CMake package, pkg-config file, guides, examples) and tools (sturdyctl). Nothing of it names the
# prefix, so the installed tree may be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/sturdy_comp)
install(
  TARGETS sturdy_comp
  EXPORT sturdy_comp
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          COMPONENT runtime
          NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/sturdy/sturdy.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/sturdy COMPONENT development)

install(EXPORT sturdy_comp NAMESPACE sturdy:: DESTINATION ${package_dir}
        FILE sturdy_comp-targets.cmake COMPONENT development)
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/sturdy_comp-config.cmake.in
  ${PROJECT_BINARY_DIR}/generated/sturdy_comp-config.cmake
  INSTALL_DESTINATION ${package_dir}
  NO_SET_AND_CHECK_MACRO)
# As the soname: what was built against one version runs with every later one of its major number.
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/generated/sturdy_comp-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/generated/sturdy_comp-config.cmake
              ${PROJECT_BINARY_DIR}/generated/sturdy_comp-config-version.cmake
        DESTINATION ${package_dir} COMPONENT development)

# The way from a folder of the installed tree to another one; absolute where the destination is.
function(sturdy_way_to out from to)
  if(IS_ABSOLUTE "${to}" OR IS_ABSOLUTE "${from}")
    cmake_path(ABSOLUTE_PATH to BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" NORMALIZE)
    set(${out} "${to}" PARENT_SCOPE)
    return()
  endif()
  file(RELATIVE_PATH way "/${from}" "/${to}")
  set(${out} "${ARGN}${way}" PARENT_SCOPE)
endfunction()

set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
sturdy_way_to(pc_libdir ${pc_dir} ${CMAKE_INSTALL_LIBDIR} "\${pcfiledir}/")
sturdy_way_to(pc_includedir ${pc_dir} ${CMAKE_INSTALL_INCLUDEDIR} "\${pcfiledir}/")
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  # Stays where it is, and pkg-config leaves out the folders that it knows.
  set(pc_libdir ${CMAKE_INSTALL_FULL_LIBDIR})
  set(pc_includedir ${CMAKE_INSTALL_FULL_INCLUDEDIR})
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/sturdy_comp.pc.in
               ${PROJECT_BINARY_DIR}/generated/sturdy_comp.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/generated/sturdy_comp.pc
        DESTINATION ${pc_dir} COMPONENT development)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}
        COMPONENT development FILES_MATCHING PATTERN "log-and-cache-files.md"
                                             PATTERN "client-guide.md"
                                             PATTERN "architecture.md")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${CMAKE_INSTALL_DOCDIR}
        COMPONENT development)

if(STURDY_BUILD_TOOLS)
  # In a system's own folders the loader needs no path.
  sturdy_way_to(way ${CMAKE_INSTALL_BINDIR} ${CMAKE_INSTALL_LIBDIR} "\$ORIGIN/")
  set_target_properties(sturdyctl PROPERTIES INSTALL_RPATH "${way}")
  install(TARGETS sturdyctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/lab-scenario.md
          DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tools)

  # Both are written by the tool, from the definitions that its --help is made of.
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
