# Debug symbols go to a file of their own in a folder beside the binary, where debuggers look for them, so that what is
# installed and packaged is small.
option(SPLIT_DEBUG_SYMBOLS "put debug symbols into files of their own" OFF)

function(split_debug_symbols target)
  if(NOT SPLIT_DEBUG_SYMBOLS)
    return()
  endif()
  set(symbols $<TARGET_FILE_DIR:${target}>/.debug/$<TARGET_FILE_NAME:${target}>.debug)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E make_directory $<TARGET_FILE_DIR:${target}>/.debug
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}> ${symbols}
    COMMAND ${CMAKE_STRIP} --strip-unneeded $<TARGET_FILE:${target}>
    COMMAND ${CMAKE_OBJCOPY} --add-gnu-debuglink=${symbols} $<TARGET_FILE:${target}>
    VERBATIM)
endfunction()
