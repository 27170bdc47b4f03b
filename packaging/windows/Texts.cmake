# Run at installation: makes texts for Notepad of the documents, with its line ends. With groff the manuals are
# formatted, and links to them follow.
set(root ${CMAKE_INSTALL_PREFIX})
if(groff)
  foreach(manual vexassl.1 vexassl.ini.5)
    set(source ${root}/doc/docs/man/${manual})
    execute_process(COMMAND ${groff} -mdoc -Tascii -P-cbou ${source} OUTPUT_FILE ${source}.txt
      COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE ${source})
  endforeach()
endif()
file(GLOB_RECURSE texts ${root}/doc/*.md ${root}/doc/docs/man/* ${root}/README.txt)
foreach(text ${texts})
  file(READ ${text} content)
  if(groff)
    string(REGEX REPLACE "(man/vexassl(\\.ini)?\\.[15])\\)" "\\1.txt)" content "${content}")
  endif()
  file(CONFIGURE OUTPUT ${text} CONTENT "${content}" @ONLY NEWLINE_STYLE WIN32)
endforeach()
