# GTest::gtest_main, from the packaged library or, for a target that the package is not built for, from its sources.
find_package(GTest QUIET)
if(NOT GTest_FOUND)
  set(INSTALL_GTEST OFF)
  set(BUILD_GMOCK OFF)
  set(gtest_force_shared_crt ON)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  target_compile_options(gtest PRIVATE -w)
endif()
include(GoogleTest)

# A test for each one in the program; a single test where an emulator needs longer to start than they need to run.
function(elfload_google_tests program)
  if(CMAKE_CROSSCOMPILING)
    add_test(NAME ${program} COMMAND ${program} --gtest_brief=1)
  else()
    gtest_discover_tests(${program} DISCOVERY_TIMEOUT 60)
  endif()
endfunction()
