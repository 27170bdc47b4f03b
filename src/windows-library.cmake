# VexaSsl.dll, its import library, and beside it the file with its symbols. The binding is part of
# it; a host needs Winsock.
if(MSVC)
  target_sources(VexaSsl PRIVATE frame/windows/msvc/VexaSsl.def)
else()
  target_sources(VexaSsl PRIVATE frame/windows/VexaSsl.def)
endif()
target_link_libraries(VexaSsl PRIVATE VexaPlatform PUBLIC ws2_32 mswsock)
set_target_properties(VexaSsl PROPERTIES PREFIX "" OUTPUT_NAME VexaSsl)
vexassl_separate_symbols(VexaSsl)
