# Metadata of the Debian packages: names, dependencies, change log and copyright.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The platform library is in the same package.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

set(library_package libvexassl${PROJECT_VERSION_MAJOR})
set(development_package libvexassl-dev)
set(tool_package vexassl)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
# Without the system's trust anchors only those of the certificate folder are trusted.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS ca-certificates)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/triggers)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
  "A host does its socket work on an object with Winsock's operations.
A configuration file chooses plain sockets, TLS, or TLS switched on in
mid-stream for each connection.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${development_package})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION 
  "Headers, the ready-made log, files for CMake and pkg-config, guides and
examples.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME ${tool_package})
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${library_package} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOL_DESCRIPTION 
  "The companion tool serves and connects with a given configuration,
checks configurations, lists certificates, and explains why a certificate
chain is or is not trusted. Includes the documents for administrators.")

# The change log in Debian's form and the copyright, for each package.
string(TIMESTAMP date "%a, %d %b %Y 00:00:00 +0000" UTC)
configure_file(changelog.in changelog @ONLY)
add_custom_command(OUTPUT changelog.gz DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/changelog
  COMMAND gzip -9nc ${CMAKE_CURRENT_BINARY_DIR}/changelog > changelog.gz)
add_custom_target(debian_changelog ALL DEPENDS changelog.gz)
foreach(component library development tool)
  set(folder share/doc/${${component}_package})
  install(FILES ${CMAKE_CURRENT_SOURCE_DIR}/copyright DESTINATION ${folder} COMPONENT ${component})
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz DESTINATION ${folder}
    COMPONENT ${component})
endforeach()
