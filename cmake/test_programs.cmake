find_package(GTest REQUIRED)
include(GoogleTest)

set(test_definitions
  SOURCE_DIR="${PROJECT_SOURCE_DIR}" BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}" EMULATOR="${CMAKE_CROSSCOMPILING_EMULATOR}")

# Nobody ships a test, and most of its compilation would go into making it fast and easy to debug.
set(test_options "$<$<NOT:$<CONFIG:Debug>>:-O1;-g1>" -fpch-preprocess)  # the last for ccache

# What every test includes is parsed once; it belongs to a program of no tests, as it has to be compiled like them.
file(TOUCH ${PROJECT_BINARY_DIR}/test_headers.cpp)
add_executable(test_headers ${PROJECT_BINARY_DIR}/test_headers.cpp)
target_link_libraries(test_headers PRIVATE build_settings GTest::gmock GTest::gtest_main)
target_compile_definitions(test_headers PRIVATE ${test_definitions})
target_compile_options(test_headers PRIVATE ${test_options})
target_precompile_headers(test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h> <filesystem> <fstream> <thread>)

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
  target_compile_definitions(${name} PRIVATE ${test_definitions})
  target_compile_options(${name} PRIVATE ${test_options})
  target_precompile_headers(${name} REUSE_FROM test_headers)
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
