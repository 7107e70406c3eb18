# What `cmake --install` puts where. The component `runtime` is the tool, libtome and the manual page; `development` is
# what a program that links the library needs. All of it finds the rest relative to itself: the prefix may be moved.
include(CMakePackageConfigHelpers)

set(quill_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/quill)
set(quill_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The public headers as an outside program sees them.
set(quill_public_headers ${PROJECT_BINARY_DIR}/public_headers)
list(TRANSFORM quill_folders APPEND "/*.h" OUTPUT_VARIABLE quill_header_globs)
file(GLOB_RECURSE quill_headers CONFIGURE_DEPENDS include/quill/*.h files/*.h digest/*.h ${quill_header_globs})
add_custom_command(OUTPUT ${quill_public_headers}.stamp
  COMMAND ${CMAKE_COMMAND} -D source=${PROJECT_SOURCE_DIR} -D destination=${quill_public_headers}
    -P ${PROJECT_SOURCE_DIR}/cmake/public_headers.cmake
  COMMAND ${CMAKE_COMMAND} -E touch ${quill_public_headers}.stamp
  DEPENDS ${quill_headers} ${PROJECT_SOURCE_DIR}/cmake/public_headers.cmake
  COMMENT "Collecting the public headers" VERBATIM)
add_custom_target(quill_public_headers ALL DEPENDS ${quill_public_headers}.stamp)

install(TARGETS quill_project_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
install(TARGETS tome EXPORT quill
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS quill EXPORT quill
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# An installation that is to be stripped: CMake does so with programs and shared objects alone.
install(CODE "if(CMAKE_INSTALL_DO_STRIP)
  execute_process(COMMAND \"${CMAKE_STRIP}\" -S
    \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/$<TARGET_FILE_NAME:quill>\"
    COMMAND_ERROR_IS_FATAL ANY)
endif()" COMPONENT development)
install(DIRECTORY ${quill_public_headers}/quill tome/include/tome
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(FILES docs/man/quill_project_tool.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)

# find_package(quill).
configure_package_config_file(cmake/quill-config.cmake.in quill-config.cmake INSTALL_DESTINATION ${quill_package_dir})
# Below 1.0.0 the second number goes up for whatever callers notice.
write_basic_package_version_file(quill-config-version.cmake COMPATIBILITY SameMinorVersion)
install(EXPORT quill NAMESPACE quill:: FILE quill-targets.cmake
  DESTINATION ${quill_package_dir} COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/quill-config.cmake ${PROJECT_BINARY_DIR}/quill-config-version.cmake
  DESTINATION ${quill_package_dir} COMPONENT development)

# pkg-config.
file(RELATIVE_PATH quill_pkgconfig_to_prefix /prefix/${quill_pkgconfig_dir} /prefix)
string(REGEX REPLACE "/$" "" quill_pkgconfig_to_prefix "${quill_pkgconfig_to_prefix}")
configure_file(cmake/quill.pc.in quill.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quill.pc DESTINATION ${quill_pkgconfig_dir} COMPONENT development)
