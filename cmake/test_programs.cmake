find_package(GTest REQUIRED)
include(GoogleTest)

# One test program of a folder; every test in it has a time limit of its own, in seconds. SHELL is what the driver starts
# its helper with. Tests with the label "long" run in scripts/check only.
function(add_test_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT;LABEL" "SOURCES;LIBRARIES")
  set(labels)
  if(arg_LABEL)
    set(labels LABELS ${arg_LABEL})
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE build_settings GTest::gmock GTest::gtest_main ${arg_LIBRARIES})
  target_compile_definitions(${name} PRIVATE
    SOURCE_DIR="${PROJECT_SOURCE_DIR}" BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}"
    EMULATOR="${CMAKE_CROSSCOMPILING_EMULATOR}")
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES
    TIMEOUT ${arg_TIMEOUT} ENVIRONMENT SHELL=/bin/sh ${labels})
endfunction()

# One with the real plug-in and helper. The driver types that the host registers must come from the host, so it is linked
# whatever a program calls of it.
function(add_integration_test name timeout)  # [label]
  add_test_program(${name} TIMEOUT ${timeout} LABEL "${ARGN}" SOURCES ${name}.cpp
    LIBRARIES cbl -Wl,--no-as-needed hmi_host rttr_core ${CMAKE_DL_LIBS})
  add_dependencies(${name} BACnet_IP simulator)
endfunction()
