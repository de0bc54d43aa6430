# Between the install of cpack's files and the making of the packages: what Debian has and a plain
# install has not. Manual pages are compressed, without a time in them.
file(GLOB_RECURSE pages ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*.1)
list(FILTER pages INCLUDE REGEX "/man1/")
foreach(page IN LISTS pages)
  execute_process(COMMAND gzip -9nf ${page} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
