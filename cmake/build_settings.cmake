# Language, warnings, hardening and sanitizers for every target that links `build_settings`.
add_library(build_settings INTERFACE)
target_compile_features(build_settings INTERFACE cxx_std_17)
target_include_directories(build_settings INTERFACE ${PROJECT_SOURCE_DIR})

option(WARNINGS_AS_ERRORS "fail the build on a warning" OFF)
target_compile_options(build_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion
  $<$<BOOL:${WARNINGS_AS_ERRORS}>:-Werror>)

set(SANITIZE "" CACHE STRING "sanitizers to build with, as -fsanitize takes them")
if(SANITIZE)
  target_compile_options(build_settings INTERFACE -fsanitize=${SANITIZE} -fno-omit-frame-pointer -g1)
  target_link_options(build_settings INTERFACE -fsanitize=${SANITIZE})
else()
  # What Debian builds its own packages with; fortified functions need optimization.
  target_compile_options(build_settings INTERFACE -fstack-protector-strong -Wformat -Werror=format-security
    $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  target_link_options(build_settings INTERFACE LINKER:-z,relro,-z,now)
endif()

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
