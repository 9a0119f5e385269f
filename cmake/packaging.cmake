# What `cmake --install` lays out, and the packages made of it: one with what runs, one with its debug symbols, each as
# .deb and .tar.gz.
set(driver_dir ${CMAKE_INSTALL_LIBDIR}/hmi-drivers)
if(CMAKE_INSTALL_LIBDIR MATCHES "^lib/.+")
  set(driver_dir lib/hmi-drivers)  # the same folder on every machine, without its kind in the path
endif()

set_target_properties(hmi_host_tool PROPERTIES INSTALL_RPATH "$ORIGIN/../${driver_dir}")

install(TARGETS BACnet_IP hmi_host LIBRARY DESTINATION ${driver_dir} COMPONENT runtime)
install(TARGETS bacnet_velix RUNTIME DESTINATION ${driver_dir} COMPONENT runtime)
install(TARGETS hmi_host_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
install(DIRECTORY ${HMI_SDK_DIR} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT runtime FILES_MATCHING PATTERN "*.h")
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(PROGRAMS scripts/demo DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT runtime)
install(FILES host/hmi-host.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)
install(FILES host/hmi-host.bash-completion DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
  RENAME hmi-host COMPONENT runtime)

if(SPLIT_DEBUG_SYMBOLS)
  foreach(target BACnet_IP hmi_host bacnet_velix)
    install(FILES $<TARGET_FILE_DIR:${target}>/.debug/$<TARGET_FILE_NAME:${target}>.debug
      DESTINATION ${driver_dir}/.debug COMPONENT debug)
  endforeach()
  install(FILES $<TARGET_FILE_DIR:hmi_host_tool>/.debug/hmi-host.debug
    DESTINATION ${CMAKE_INSTALL_BINDIR}/.debug COMPONENT debug)
endif()

set(CPACK_GENERATOR DEB TGZ)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_CONTACT "the maintainers of this driver <maintainers@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "BACnet/IP field-bus driver plug-in for HMI runtimes, with a small host and a development helper")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_COMPONENTS_ALL runtime debug)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
else()
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
endif()
set(CPACK_SYSTEM_NAME ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${CPACK_PACKAGE_NAME})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION net)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS
  "libc6 (>= 2.36), libstdc++6 (>= 12), librttr-core0.9.6, libpugixml1v5, liblz4-1, libfmt9")
set(CPACK_DEBIAN_DEBUG_PACKAGE_NAME ${CPACK_PACKAGE_NAME}-dbgsym)
set(CPACK_DEBIAN_DEBUG_PACKAGE_SECTION debug)
set(CPACK_DEBIAN_DEBUG_PACKAGE_DEPENDS "${CPACK_PACKAGE_NAME} (= ${PROJECT_VERSION})")
include(CPack)
