# VexaSsl.dll, its import library, and beside it the file with its symbols. The binding is part of
# it; a host needs Winsock.
if(MSVC)
  target_sources(VexaSsl PRIVATE frame/windows/msvc/VexaSsl.def)
else()
  target_sources(VexaSsl PRIVATE frame/windows/VexaSsl.def)
endif()
target_link_libraries(VexaSsl PRIVATE VexaPlatform PUBLIC ws2_32 mswsock)
set_target_properties(VexaSsl PROPERTIES PREFIX "" OUTPUT_NAME VexaSsl)
if(NOT MSVC)
  # The library itself carries no symbols; a debugger finds the file by the link in it.
  add_custom_command(TARGET VexaSsl POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:VexaSsl> VexaSsl.dll.debug
    COMMAND ${CMAKE_OBJCOPY} --strip-all --add-gnu-debuglink=VexaSsl.dll.debug
      $<TARGET_FILE:VexaSsl>
    WORKING_DIRECTORY $<TARGET_FILE_DIR:VexaSsl>
    BYPRODUCTS ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/VexaSsl.dll.debug
    VERBATIM)
endif()
