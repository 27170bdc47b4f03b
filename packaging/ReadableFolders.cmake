# Run by cpack when the files lie where a package is made of them. Files get their permissions from the
# rules of installation, but new folders those that are left to whoever calls cpack: with a strict
# umask nobody but root could use what was installed.
file(GLOB_RECURSE folders LIST_DIRECTORIES true "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*")
foreach(folder "${CPACK_TEMPORARY_INSTALL_DIRECTORY}" ${folders})
  if(IS_DIRECTORY "${folder}" AND NOT IS_SYMLINK "${folder}")
    file(CHMOD "${folder}" PERMISSIONS
      OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  endif()
endforeach()
