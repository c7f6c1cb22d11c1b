# What `cmake --install` puts where:
#   bin/elfload                       the program
#   share/man/man1/elfload.1          its manual
#   lib/libtarnixcore.so              the host library
#   lib/elfload/elfloader.so          the module, where the program looks for it
#   include/tarnixcore                headers of the host library
#   include/elfloader                 the records and the loader's class: what the module shares with its hosts
#   lib/cmake/elfloader               find_package(elfloader): elfloader::host (library and headers), elfloader::elfloader
#                                     (the module's path)
include(CMakePackageConfigHelpers)

set(ELFLOAD_HEADERS ${CMAKE_INSTALL_INCLUDEDIR}/elfloader)
set(ELFLOAD_MODULES ${CMAKE_INSTALL_LIBDIR}/elfload)
set(ELFLOAD_PACKAGE ${CMAKE_INSTALL_LIBDIR}/cmake/elfloader)

add_library(elfloader_host INTERFACE)
target_include_directories(elfloader_host INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/plugin> $<INSTALL_INTERFACE:${ELFLOAD_HEADERS}>)
target_link_libraries(elfloader_host INTERFACE tarnixcore)
set_target_properties(elfloader_host PROPERTIES EXPORT_NAME host)

install(TARGETS tarnixcore elfloader_host EXPORT elfloaderTargets)
install(TARGETS elfloader EXPORT elfloaderTargets LIBRARY DESTINATION ${ELFLOAD_MODULES})
install(DIRECTORY host/include/tarnixcore DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES
  plugin/records/debug_records.h
  plugin/records/debug_records_layout.h
  plugin/records/failure.h
  DESTINATION ${ELFLOAD_HEADERS}/records)
install(FILES
  plugin/loader/elf_loader.h
  plugin/loader/exports.h
  plugin/loader/loader_failure.h
  plugin/loader/loader_unit.h
  DESTINATION ${ELFLOAD_HEADERS}/loader)
install(FILES
  plugin/elf/byte_source.h
  plugin/elf/elf_constants.h
  plugin/elf/elf_image.h
  DESTINATION ${ELFLOAD_HEADERS}/elf)

file(RELATIVE_PATH library_folder ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set_target_properties(elfload PROPERTIES INSTALL_RPATH "$ORIGIN/${library_folder}")
install(TARGETS elfload)
install(FILES docs/elfload.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

install(EXPORT elfloaderTargets NAMESPACE elfloader:: DESTINATION ${ELFLOAD_PACKAGE})
configure_package_config_file(cmake/elfloaderConfig.cmake.in elfloaderConfig.cmake INSTALL_DESTINATION ${ELFLOAD_PACKAGE})
write_basic_package_version_file(elfloaderConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/elfloaderConfig.cmake
  ${PROJECT_BINARY_DIR}/elfloaderConfigVersion.cmake
  DESTINATION ${ELFLOAD_PACKAGE})
