# The shared object. The version script hides the standard library's instantiations too, which hidden
# visibility alone would still export.
set(exports ${PROJECT_SOURCE_DIR}/cmake/VexaSsl.exports)
target_link_libraries(VexaSsl PUBLIC VexaPlatform)
set_target_properties(VexaSsl PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
  LINK_DEPENDS ${exports})
target_link_options(VexaSsl PRIVATE -Wl,--version-script=${exports})
if(NOT VEXASSL_SANITIZE)
  target_link_options(VexaSsl PRIVATE -Wl,--no-undefined)
endif()
