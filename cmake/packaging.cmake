# What `cmake --install` lays out, and the packages made of it: one with what runs and one with its debug symbols, each as
# .deb and .tar.gz. A program or manual more is one line.
set(driver_dir lib/hmi-drivers)  # the same folder on every machine, without its kind in the path
set(package_files ${PROJECT_SOURCE_DIR}/cmake/package)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME runtime)

# A program or library, and where it goes; its debug symbols go with it.
function(ship_program target folder)
  install(TARGETS ${target} RUNTIME DESTINATION ${folder} LIBRARY DESTINATION ${folder})
  install(CODE "execute_process(COMMAND ${package_files}/keep_debug_symbols ${CMAKE_OBJCOPY} ${CMAKE_READELF}
    $<TARGET_FILE:${target}> \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/lib/debug\" COMMAND_ERROR_IS_FATAL ANY)"
    COMPONENT debug)
endfunction()

# A file as NAME.gz in the folder; it is packed again when it has changed.
function(ship_compressed file folder name)
  set(packed ${PROJECT_BINARY_DIR}/package/${name}.gz)
  execute_process(COMMAND gzip -9nc ${file} OUTPUT_FILE ${packed} COMMAND_ERROR_IS_FATAL ANY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  install(FILES ${packed} DESTINATION ${folder})
endfunction()

# The licence and the changes as Debian writes them.
file(READ LICENSE license)
string(REGEX REPLACE "^.*\n(Permission)" "\\1" license "${license}")
string(REGEX REPLACE "\n\n" "\n.\n" license "${license}")
string(REGEX REPLACE "\n(.)" "\n \\1" LICENSE_TEXT " ${license}")
set(CPACK_PACKAGE_CONTACT "The maintainers of this driver <maintainers@localhost>")
configure_file(${package_files}/copyright.in package/copyright @ONLY)
execute_process(COMMAND ${package_files}/debian_changelog ${PROJECT_NAME} ${CPACK_PACKAGE_CONTACT}
  INPUT_FILE ${PROJECT_SOURCE_DIR}/CHANGELOG.md OUTPUT_FILE ${PROJECT_BINARY_DIR}/package/changelog
  COMMAND_ERROR_IS_FATAL ANY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/CHANGELOG.md)

ship_program(BACnet_IP ${driver_dir})
if(HAS_OWN_HOST)
  ship_program(hmi_host ${driver_dir})
  ship_program(bacnet_velix ${driver_dir})
  ship_program(simulator ${driver_dir}/simulator)
  ship_program(hmi_host_tool ${CMAKE_INSTALL_BINDIR})
  ship_program(bacnet_device ${CMAKE_INSTALL_BINDIR})
  set_target_properties(hmi_host_tool PROPERTIES INSTALL_RPATH "$ORIGIN/../${driver_dir}")
  ship_compressed(${PROJECT_SOURCE_DIR}/host/hmi-host.1 ${CMAKE_INSTALL_MANDIR}/man1 hmi-host.1)
  ship_compressed(${PROJECT_SOURCE_DIR}/device/bacnet-device.1 ${CMAKE_INSTALL_MANDIR}/man1 bacnet-device.1)
  install(FILES host/hmi-host.bash-completion DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME hmi-host)
  install(FILES /usr/share/doc/libjs-dygraphs/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR} RENAME dygraphs.copyright)
  install(DIRECTORY sdk/hmi DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
  install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR})
  install(PROGRAMS scripts/demo DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
  install(FILES scripts/runtime_directory.sh DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
endif()
install(FILES ${package_files}/tmpfiles.conf DESTINATION lib/tmpfiles.d RENAME ${PROJECT_NAME}.conf)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES README.md CONTRIBUTING.md ${PROJECT_BINARY_DIR}/package/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})
ship_compressed(${PROJECT_BINARY_DIR}/package/changelog ${CMAKE_INSTALL_DOCDIR} changelog)

# Both packages answer to lintian; the one with symbols shares the other's documents.
set(symbols_package ${PROJECT_NAME}-dbgsym)
install(FILES ${package_files}/lintian-overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
  RENAME ${PROJECT_NAME})
install(FILES ${package_files}/lintian-overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
  RENAME ${symbols_package} COMPONENT debug)
file(CREATE_LINK ${PROJECT_NAME} ${PROJECT_BINARY_DIR}/package/${symbols_package} SYMBOLIC)
install(FILES ${PROJECT_BINARY_DIR}/package/${symbols_package} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc
  COMPONENT debug)

set(CPACK_GENERATOR DEB TGZ)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "BACnet/IP field-bus driver plug-in for HMI runtimes")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime debug)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
else()
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
endif()
set(CPACK_SYSTEM_NAME ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION net)
file(READ ${package_files}/description CPACK_COMPONENT_RUNTIME_DESCRIPTION)
# The dependencies are computed from the libraries of the machine that the packages are for.
set(CPACK_PROJECT_CONFIG_FILE ${package_files}/host_architecture.cmake)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_DEBUG_PACKAGE_NAME ${symbols_package})
set(CPACK_DEBIAN_DEBUG_PACKAGE_SOURCE ${PROJECT_NAME})
set(CPACK_DEBIAN_DEBUG_PACKAGE_SECTION debug)
set(CPACK_DEBIAN_DEBUG_PACKAGE_DEPENDS "${PROJECT_NAME} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEBUG_DESCRIPTION
  "debug symbols of ${PROJECT_NAME}\nDebuggers find them by the build ID of each program.")
include(CPack)
