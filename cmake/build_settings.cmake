# Language, warnings and sanitizers for every target that links `build_settings`.
add_library(build_settings INTERFACE)
target_compile_features(build_settings INTERFACE cxx_std_17)
target_include_directories(build_settings INTERFACE ${PROJECT_SOURCE_DIR})

option(WARNINGS_AS_ERRORS "fail the build on a warning" ON)
target_compile_options(build_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion
  $<$<BOOL:${WARNINGS_AS_ERRORS}>:-Werror>)

set(SANITIZE "" CACHE STRING "sanitizers to build with, as -fsanitize takes them")
if(SANITIZE)
  target_compile_options(build_settings INTERFACE -fsanitize=${SANITIZE} -fno-omit-frame-pointer -g)
  target_link_options(build_settings INTERFACE -fsanitize=${SANITIZE})
endif()

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

include(split_debug)
