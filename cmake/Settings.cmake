# Language, warnings and sanitizers for every target of the project.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)

find_package(Threads REQUIRED)

set(VEXASSL_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize takes them")
if(VEXASSL_SANITIZE)
  add_compile_options(-fsanitize=${VEXASSL_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${VEXASSL_SANITIZE})
  # The check of an object's type opens a pipe to read the object. Where a test leaves the process no
  # descriptor, it reports valid objects.
  if("${VEXASSL_SANITIZE}" MATCHES undefined)
    add_compile_options(-fno-sanitize=vptr)
  endif()
endif()

add_library(vexassl_warnings INTERFACE)
if(MSVC)
  target_compile_options(vexassl_warnings INTERFACE /W4)
  # Sources are UTF-8; C++ exceptions only; __cplusplus has the true value.
  add_compile_options(/utf-8 /EHsc /Zc:__cplusplus /permissive-)
  # std::getenv is used where no other thread changes the environment.
  add_compile_definitions(_CRT_SECURE_NO_WARNINGS)
  # Values of the standard library cross the boundary of the module, so that a host must have the same
  # run-time library.
  if(NOT DEFINED CMAKE_MSVC_RUNTIME_LIBRARY)
    set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>DLL")
  endif()
else()
  # A constructor's parameter may have the name of the member it initialises. Clang's -Wshadow allows
  # that; GCC's doesn't.
  target_compile_options(vexassl_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion $<IF:$<CXX_COMPILER_ID:GNU>,-Wshadow=local,-Wshadow>)
  # In a unity build Clang takes another file's local names for hidden ones, GCC a file's for a header's.
  target_compile_options(vexassl_warnings INTERFACE
    "$<$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>:$<IF:$<CXX_COMPILER_ID:GNU>,-Wno-subobject-linkage,-Wno-shadow>>")
endif()
# Not inside another project, whose compiler may have other warnings.
if(PROJECT_IS_TOP_LEVEL)
  target_compile_options(vexassl_warnings INTERFACE $<IF:$<BOOL:${MSVC}>,/WX,-Werror>)
endif()

# Hardening of the libraries and the tool. Not in debug builds, since fortified calls need optimisation,
# nor with a sanitizer, which checks the same errors.
add_library(vexassl_hardening INTERFACE)
if(NOT MSVC AND NOT VEXASSL_SANITIZE)
  target_compile_options(vexassl_hardening INTERFACE
    -fstack-protector-strong -fcf-protection=full
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  if(WIN32)
    # The runtime of the stack protector.
    target_link_libraries(vexassl_hardening INTERFACE ssp)
    target_link_options(vexassl_hardening INTERFACE
      -Wl,--high-entropy-va -Wl,--dynamicbase -Wl,--nxcompat)
  else()
    target_compile_options(vexassl_hardening INTERFACE -fstack-clash-protection)
    # Shadow stacks are enabled: the code that the C library adds only calls and returns. Indirect branch
    # tracking can't be, since the C library's start-up code has no endbr instructions.
    target_link_options(vexassl_hardening INTERFACE
      -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,-z,separate-code -Wl,-z,text -Wl,-z,shstk)
  endif()
elseif(MSVC)
  target_compile_options(vexassl_hardening INTERFACE /GS /guard:cf)
  target_link_options(vexassl_hardening INTERFACE
    /GUARD:CF /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT /CETCOMPAT)
endif()

if(WIN32)
  # The interface of Windows 10, without the macros min and max. sspi.h requires SECURITY_WIN32.
  add_compile_definitions(_WIN32_WINNT=0x0A00 WINVER=0x0A00 NOMINMAX WIN32_LEAN_AND_MEAN
    SECURITY_WIN32)
endif()

# What ships for Windows carries no symbols; a debugger finds the file with them, TARGET.debug, by the link in it.
function(vexassl_separate_symbols target)
  if(MINGW)
    set(symbols $<TARGET_FILE_NAME:${target}>.debug)
    add_custom_command(TARGET ${target} POST_BUILD
      COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}> ${symbols}
      COMMAND ${CMAKE_OBJCOPY} --strip-all --add-gnu-debuglink=${symbols} $<TARGET_FILE:${target}>
      WORKING_DIRECTORY $<TARGET_FILE_DIR:${target}>
      VERBATIM)
  endif()
endfunction()

# A unity build (CMAKE_UNITY_BUILD) compiles these files alone, for example because they have a local name
# that another file has, too.
function(vexassl_compile_alone)
  set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

option(VEXASSL_PRECOMPILE "Precompile the headers of the standard library" OFF)
# Nearly halves the build time. A build without it shows that each file includes what it uses.
function(vexassl_precompile target)
  if(VEXASSL_PRECOMPILE)
    target_precompile_headers(${target} PRIVATE <algorithm> <atomic> <filesystem> <fstream>
      <functional> <iostream> <map> <memory> <mutex> <optional> <set> <sstream> <stdexcept> <string>
      <string_view> <thread> <unordered_map> <utility> <vector> ${ARGN})
  endif()
endfunction()

set(VEXASSL_CERTIFICATE_FOLDER "/etc/vexassl/certificates" CACHE STRING
  "Default certificate folder of the Linux binding")
