# GoogleTest, built for the target system from the sources in Debian's package "googletest".
find_path(GTest_SOURCES googletest/CMakeLists.txt PATHS /usr/src/googletest
  NO_CMAKE_FIND_ROOT_PATH)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(GTest REQUIRED_VARS GTest_SOURCES)
if(GTest_FOUND AND NOT TARGET GTest::gtest)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  add_subdirectory(${GTest_SOURCES} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
endif()
