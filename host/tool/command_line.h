#pragma once

#include <optional>

#include "host/tool/command/commands.h"
#include "host/tool/options.h"

namespace tool {

/// Reads the command line into `options` and `action`. Result: the status to end with when there is nothing to do
/// (help or version was shown, on standard output). Throws CFailure (usage; project when its directory is missing).
std::optional<ExitStatus> readCommandLine(int argc, char** argv, Options& options, Action& action);

}  // namespace tool
