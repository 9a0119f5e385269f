# The product's three libraries, as imported targets. They are looked up as plain files rather than through their CMake
# packages, because those name the build machine's library and are of no use to a cross build.
find_package(Threads REQUIRED)

function(import_library target header library)
  find_path(${target}_INCLUDE_DIR ${header} REQUIRED)
  find_library(${target}_LIBRARY NAMES ${library} ${ARGN} REQUIRED)
  mark_as_advanced(${target}_INCLUDE_DIR ${target}_LIBRARY)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE ${${target}_INCLUDE_DIR})
  target_link_libraries(${target} INTERFACE ${${target}_LIBRARY})
endfunction()

import_library(rttr_core rttr/type rttr_core librttr_core.so.0.9.6)
import_library(pugixml_library pugixml.hpp pugixml)
import_library(lz4_library lz4frame.h lz4)
