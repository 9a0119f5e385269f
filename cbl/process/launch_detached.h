#pragma once

#include <cstdint>
#include <string>

namespace cbl {

/// Starts `commandLine` through the shell named by the environment variable SHELL, as a process that is not the
/// caller's child: the system's init process takes it over at once. It keeps descriptors 0 to 2 and no other, and
/// starts with no signal blocked. May be called from any thread of a threaded process; blocks only until the process is
/// started. A host that ignores SIGCHLD, or reaps every child itself, gets -5 although the process was started.
/// Result: the started process's id (also when the shell then finds no such command), or
///   -1  empty command line                          -2  SHELL is not set, or no pipe
///   -3  fork failed                                 -4  no process id arrived ("parent read pipe error")
///   -5  the process in between cannot be waited for, or did not end well
std::int32_t launchDetached(const std::string& commandLine);

}  // namespace cbl
