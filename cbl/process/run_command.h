#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <string>

namespace cbl {

/// Runs `commandLine` in the system's shell and waits for its end. `output` is emptied and filled with its lines as
/// `readLines` reads them; without it the output and errors of the command line's last command are discarded.
/// Result: the exit code; -1 the shell cannot be started; -2 no output at all.
std::int32_t runCommand(const std::string& commandLine, std::list<std::string>* output);

/// Receives one line without its line end (a longer one in pieces of 4095 bytes), and the caller's own value.
using LineCallback = std::function<void(const char* line, std::uintptr_t userValue)>;

/// Runs `commandLine` in the system's shell and hands every line of its output to `callback` as it comes, empty lines
/// too. The exit code travels behind the marker "@@__CMD_EXIT_CODE__@@": a line of the command's own that begins with
/// the marker and goes on ends the run early.
/// Result: the exit code; -1 no callback; -2 the shell cannot be started; -127 the output ended without the marker.
std::int32_t runCommandWithCallback(const std::string& commandLine, const LineCallback& callback,
                                    std::uintptr_t userValue);

}  // namespace cbl
