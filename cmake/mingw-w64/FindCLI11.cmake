# The build machine's headers of CLI11, which are the same for all systems. A symbolic link in a separate
# folder keeps the rest of /usr/include out of the search path.
find_path(CLI11_SYSTEM_FOLDER CLI/CLI.hpp PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(CLI11 REQUIRED_VARS CLI11_SYSTEM_FOLDER)
if(CLI11_FOUND AND NOT TARGET CLI11::CLI11)
  set(alone ${CMAKE_BINARY_DIR}/headers)
  file(MAKE_DIRECTORY ${alone})
  file(CREATE_LINK ${CLI11_SYSTEM_FOLDER}/CLI ${alone}/CLI SYMBOLIC)
  add_library(CLI11::CLI11 INTERFACE IMPORTED)
  target_include_directories(CLI11::CLI11 INTERFACE ${alone})
endif()
