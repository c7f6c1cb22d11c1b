# fmt::fmt-header-only. The package's own CMake files refuse another pointer size than the library's, which the headers
# do not care for.
find_package(fmt QUIET)
if(NOT TARGET fmt::fmt-header-only)
  find_path(FMT_INCLUDE_DIR fmt/format.h REQUIRED)
  add_library(fmt-header-only INTERFACE)
  add_library(fmt::fmt-header-only ALIAS fmt-header-only)
  target_compile_definitions(fmt-header-only INTERFACE FMT_HEADER_ONLY=1)
  target_include_directories(fmt-header-only SYSTEM INTERFACE ${FMT_INCLUDE_DIR})
endif()
