# Runs after cpack has made the packages. Removes the scripts that cpack adds to the library's
# package: they call ldconfig, which the package's trigger does already.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(unpacked ${CPACK_TOPLEVEL_DIRECTORY}/repack)
  file(REMOVE_RECURSE ${unpacked})
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${unpacked} COMMAND_ERROR_IS_FATAL ANY)
  if(EXISTS ${unpacked}/DEBIAN/postinst)
    file(REMOVE ${unpacked}/DEBIAN/postinst ${unpacked}/DEBIAN/postrm)
    execute_process(
      COMMAND dpkg-deb --root-owner-group --build ${unpacked} ${package}
      OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  endif()
endforeach()
