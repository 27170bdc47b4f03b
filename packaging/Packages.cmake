# The packages that cpack creates: on Linux Debian packages (library, development files, tool, reference), on
# Windows one ZIP file.
set(CPACK_PACKAGE_NAME vexassl)
set(CPACK_PACKAGE_VENDOR "VEXA")
set(CPACK_PACKAGE_CONTACT "VexaSsl maintainers <maintainers@vexassl.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/ReadableFolders.cmake)

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME VexaSsl-${PROJECT_VERSION}-windows-x64)
  set(CPACK_MONOLITHIC_INSTALL ON)
else()
  set(CPACK_COMPONENTS_ALL library development tool)
  include(${CMAKE_CURRENT_LIST_DIR}/Debian.cmake)
endif()
include(CPack)
