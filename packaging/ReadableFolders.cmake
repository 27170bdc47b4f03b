# Run by cpack before it creates a package. The install rules set the permissions of files, but those of
# folders depend on the umask of the caller: with a strict one only root could use the package.
file(GLOB_RECURSE folders LIST_DIRECTORIES true "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*")
foreach(folder "${CPACK_TEMPORARY_INSTALL_DIRECTORY}" ${folders})
  if(IS_DIRECTORY "${folder}" AND NOT IS_SYMLINK "${folder}")
    file(CHMOD "${folder}" PERMISSIONS
      OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  endif()
endforeach()
