#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace cbl {

/// Appends the tokens of `commandLine` to `tokens`: runs of non-blank characters, or the text between a pair of double
/// quotes that starts at a token's start and ends on the same line, without the quotes. A quote inside a run, or
/// without its partner, is part of the run.
/// Result: the number of tokens appended; -1 when the line holds a zero byte, which no argument can carry.
std::int32_t parseCmdline(const std::string& commandLine, std::vector<std::string>& tokens);

/// Starts a program without a shell, as a daemon in the root directory that keeps descriptors 0 to 2 and no other. The
/// first token of `commandLine` is its path; `extraArguments` follow the tokens. `environment` entries, "NAME=value",
/// are added to the caller's environment for the program. With `detachOutput` descriptors 0 to 2 go to the null device.
/// Result: 0 once the process in between has ended (a program that cannot be executed says so on standard output and
/// ends with status 127), or
///   -1  empty command line                -2  `parseCmdline` failed (printed on standard output)
///   -3  no tokens                         -4  the program is not executable
///   -5  the child cannot be waited for    -6  the child cannot become a daemon; returned in the child
/// In a host that ignores SIGCHLD, or reaps every child itself, the result is -5 although the program was started.
/// A failed fork is not told apart from being the child: the calling process itself then becomes the program.
std::int32_t execCommand(const std::string& commandLine, const std::vector<std::string>& extraArguments,
                         const std::vector<std::string>& environment, bool detachOutput);

}  // namespace cbl
