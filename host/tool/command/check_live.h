#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "host/tool/console/output.h"
#include "host/tool/failure.h"
#include "host/tool/options.h"
#include "plant/check.h"

namespace tool {

/// How a command line has the project compared with the devices.
struct LiveOptions {
  bool isLive = false;
  std::vector<std::string> reports;  ///< files to keep the report in, .md or .csv
  std::string since;                 ///< an earlier one, .csv
  bool isForced = false;

  /// Adds --live to `command`, and what goes with it.
  void addTo(CLI::App& command);
};

/// Compares the links of project file `file` with their devices, and shows what is found together with `problems`,
/// which the file itself has. Result: interrupted with Ctrl-C; project when the file has errors; unreachable when no
/// device answers; points failed when there are others; well. `isStrict`: warnings count as errors.
ExitStatus checkLive(const Options& options, COutput& output, const std::string& file,
                     const std::vector<plant::Problem>& problems, bool isStrict, const LiveOptions& own);

}  // namespace tool
