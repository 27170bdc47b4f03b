# The installed files, with a CMake package (targets VexaSsl::VexaSsl, VexaSsl::Log and, on Linux,
# VexaSsl::Platform) and a file for pkg-config. Included for `cmake --install`, and again for the Debian
# packages, which have another folder of libraries.
#
# Components: library, development, tool.
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/VexaSsl)
set(shared VexaSsl)
if(NOT WIN32)
  list(APPEND shared VexaPlatform)
endif()

# The names of export sets are global, so this folder's name makes two of them.
cmake_path(GET CMAKE_CURRENT_SOURCE_DIR FILENAME exported)
string(PREPEND exported VexaSslTargets-)
install(TARGETS ${shared} EXPORT ${exported}
  RUNTIME COMPONENT library
  LIBRARY COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS VexaSslLog EXPORT ${exported}
  ARCHIVE COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/VexaSsl DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development)
if(NOT WIN32)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/VexaPlatform
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
endif()

# Condition under which VexaSslConfig.cmake refuses the compiler of a host.
if(MINGW)
  set(unfit_host "NOT MINGW")
  set(built_with MinGW-w64)
elseif(WIN32)
  set(unfit_host "NOT WIN32 OR MINGW")
  set(built_with "Microsoft's compiler")
else()
  set(unfit_host WIN32)
  set(built_with "a compiler for ${CMAKE_SYSTEM_NAME}")
endif()
configure_package_config_file(${package_sources}/VexaSslConfig.cmake.in VexaSslConfig.cmake
  INSTALL_DESTINATION ${package_folder})
# The shared library's interface is kept within a major version.
write_basic_package_version_file(VexaSslConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VexaSslConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/VexaSslConfigVersion.cmake
  DESTINATION ${package_folder} COMPONENT development)
install(EXPORT ${exported} FILE VexaSslTargets.cmake NAMESPACE VexaSsl:: DESTINATION ${package_folder}
  COMPONENT development)

# The prefix is known at installation only. The ZIP file for Windows can be unpacked anywhere.
if(WIN32)
  set(pc_prefix [[${pcfiledir}/../..]])
  set(platform_libraries "-lws2_32 -lmswsock")
  if(MINGW)
    string(APPEND platform_libraries " -lssp")
  endif()
else()
  set(pc_prefix @CMAKE_INSTALL_PREFIX@)
  set(platform_libraries -lVexaPlatform)
endif()
configure_file(${package_sources}/vexassl.pc.in vexassl.pc.in @ONLY)
install(CODE "configure_file([[${CMAKE_CURRENT_BINARY_DIR}/vexassl.pc.in]]
  [[${CMAKE_CURRENT_BINARY_DIR}/vexassl.pc]] @ONLY)" COMPONENT development)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vexassl.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

function(install_documents folder component) # files and folders
  foreach(document ${ARGN})
    if(IS_DIRECTORY ${document})
      install(DIRECTORY ${document} DESTINATION ${folder} COMPONENT ${component})
    else()
      install(FILES ${document} DESTINATION ${folder} COMPONENT ${component})
    endif()
  endforeach()
endfunction()

if(TARGET vexassl)
  install(TARGETS vexassl RUNTIME COMPONENT tool)
  if(NOT WIN32)
    install(FILES ${compressed_files}/vexassl.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
    install(FILES ${compressed_files}/vexassl.ini.5.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT tool)
    set(completion ${PROJECT_SOURCE_DIR}/tools/vexassl/completion)
    install(FILES ${completion}/vexassl.bash RENAME vexassl
      DESTINATION share/bash-completion/completions COMPONENT tool)
    install(FILES ${completion}/_vexassl DESTINATION share/zsh/vendor-completions COMPONENT tool)
  endif()
endif()
if(MINGW)
  # The library and the tool refer a debugger to these files.
  install(FILES $<TARGET_FILE:VexaSsl>.debug DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT development)
  if(TARGET vexassl)
    install(FILES $<TARGET_FILE:vexassl>.debug DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT development)
  endif()
endif()
if(NOT PROJECT_IS_TOP_LEVEL)
  return()
endif()

# The development files include the documents for engineers with the examples, the tool those for
# administrators.
set(documents ${PROJECT_SOURCE_DIR}/docs)
set(site_documents ${documents}/administration.md ${documents}/operations.md
  ${documents}/troubleshooting.md ${documents}/threat-model.md ${documents}/host-guide.md
  ${documents}/windows.md ${documents}/man)
set(documentation share/doc/libvexassl-dev)
set(system linux)
if(WIN32)
  set(documentation doc)
  set(system windows)
else()
  install_documents(share/doc/vexassl tool ${site_documents})
  install_documents(share/doc/vexassl tool ${package_sources}/samples)
endif()
install_documents(${documentation} development ${package_sources}/README.md
  ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/SECURITY.md)
install_documents(${documentation}/docs development ${site_documents} ${documents}/guide.md
  ${documents}/server.md ${documents}/PERFORMANCE.md ${documents}/mistakes.md ${documents}/charts)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${documentation}
  COMPONENT development PATTERN CMakeLists.txt EXCLUDE)
# Sources of the tool that the guides refer to, and the headers that these include.
set(tool_sources ${PROJECT_SOURCE_DIR}/tools/vexassl)
install(DIRECTORY ${tool_sources}/common ${tool_sources}/serve ${tool_sources}/starttls
  DESTINATION ${documentation}/tools/vexassl COMPONENT development
  FILES_MATCHING PATTERN *.h PATTERN common/Receiver.cpp PATTERN common/Watchdog.cpp
    PATTERN common/ToolLog.cpp PATTERN serve/PortConnection.cpp PATTERN serve/Server.cpp PATTERN starttls/*.cpp)
install(FILES ${tool_sources}/${system}/HostCalls.h DESTINATION ${documentation}/tools/vexassl/${system}
  COMPONENT development)
foreach(header config/OptionMap.h config/Vocabulary.h secure/LogTexts.h)
  cmake_path(GET header PARENT_PATH module)
  install(FILES ${PROJECT_SOURCE_DIR}/src/${header} DESTINATION ${documentation}/src/${module}
    COMPONENT development)
endforeach()
if(WIN32)
  install(FILES ${package_sources}/windows/README.txt DESTINATION . COMPONENT development)
  find_program(VEXASSL_GROFF groff)
  install(CODE "set(groff ${VEXASSL_GROFF})" COMPONENT development)
  install(SCRIPT ${package_sources}/windows/Texts.cmake COMPONENT development)
endif()
