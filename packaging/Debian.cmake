# Metadata of the Debian packages: names, dependencies and control files. debian/ installs their files.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_CMAKE_PROJECTS ${CMAKE_CURRENT_BINARY_DIR}/debian ${PROJECT_NAME} ALL /)
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
set(reference_package libvexassl-doc)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
# Without the system's trust anchors only those of the certificate folder are trusted.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS ca-certificates)
# The trigger runs ldconfig. cpack would add scripts that do, too, unless it is given others; the names of
# absent files suffice.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/debian/triggers
  absent/postinst absent/postrm)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
  "A host does its socket work on an object with Winsock's operations.
A configuration file chooses plain sockets, TLS, or TLS switched on in
mid-stream for each connection.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${development_package})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS ${reference_package})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "Headers, the ready-made log, files for CMake and pkg-config, guides and
examples.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME ${tool_package})
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${library_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOL_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/debian/conffiles)
set(CPACK_COMPONENT_TOOL_DESCRIPTION
  "The companion tool serves and connects with a given configuration,
checks configurations, lists certificates, and explains why a certificate
chain is or is not trusted. Includes the documents for administrators and
a sample configuration.")

# The reference is made by Doxygen.
find_package(Doxygen QUIET)
if(DOXYGEN_FOUND)
  list(APPEND CPACK_COMPONENTS_ALL reference)
  set(CPACK_DEBIAN_REFERENCE_PACKAGE_NAME ${reference_package})
  set(CPACK_DEBIAN_REFERENCE_PACKAGE_SECTION doc)
  set(CPACK_DEBIAN_REFERENCE_PACKAGE_ARCHITECTURE all)
  set(CPACK_DEBIAN_REFERENCE_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_COMPONENT_REFERENCE_DESCRIPTION 
    "The classes, functions and constants of the public headers, as pages for
a browser that need neither scripts nor a network. The guides are in the
package of the development files.")
else()
  message(STATUS "No package ${reference_package}: Doxygen is not installed")
endif()

string(TIMESTAMP date "%a, %d %b %Y 00:00:00 +0000" UTC)
configure_file(debian/changelog.in changelog @ONLY)
compress(${CMAKE_CURRENT_BINARY_DIR}/changelog)
add_subdirectory(debian EXCLUDE_FROM_ALL)
