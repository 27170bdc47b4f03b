# Language, warnings and sanitizers for every target of the project.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)

find_package(Threads REQUIRED)

add_library(vexassl_warnings INTERFACE)
target_compile_options(vexassl_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)

set(VEXASSL_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize takes them")
if(VEXASSL_SANITIZE)
  add_compile_options(-fsanitize=${VEXASSL_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${VEXASSL_SANITIZE})
  # GCC 12 takes the standard library's regular expressions for uninitialised memory as soon as
  # they are instrumented. The builds without sanitizers keep the warning.
  target_compile_options(vexassl_warnings INTERFACE
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()

set(VEXASSL_CERTIFICATE_FOLDER "/etc/vexassl/certificates" CACHE STRING
  "Where the portable platform looks for certificates until the host says otherwise")
