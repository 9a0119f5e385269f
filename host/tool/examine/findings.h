#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "host/tool/failure.h"
#include "host/tool/options.h"

namespace tool {

enum class Verdict { kOk, kWarning, kFailed, kSkipped };

/// "ok", "warning", "failed" or "skipped".
const char* wordOf(Verdict verdict);

/// What one step of an examination found.
struct Finding {
  Verdict verdict = Verdict::kOk;
  std::string detail;
  std::string remedy;                     ///< what to do; empty when there is nothing to be done
  ExitStatus status = ExitStatus::kWell;  ///< what a failed step ends the command with
};

Finding ok(const std::string& detail);
Finding warning(const std::string& detail, const std::string& remedy);
Finding failed(ExitStatus status, const std::string& detail, const std::string& remedy);

/// What `examine` finds; when it throws CFailure, a step that failed with it.
Finding outcomeOf(const std::function<Finding()>& examine);

// Steps that look at what the driver relies on to start and reach its helper. None of them changes or starts anything
// but the shell, which is asked to do nothing.

/// The helper's executable, in the project directory or below its Devlib, whether a shell can start it, and what it
/// says of itself. `isSimulated` takes whether its points are no device's. Throws CFailure (unreachable).
Finding examineHelper(const std::string& projectDirectory, bool& isSimulated);

/// What is wrong in the project file with the link, or with no link at all. The file can be read.
Finding examineProject(const Options& options);

/// The shell that SHELL names.
Finding examineShell();

/// The directory of the helpers' sockets and pid files. One that this user cannot write does for a helper that runs.
Finding examineRuntimeDirectory(std::int32_t link);

/// The pid file of link `link`. A live process in it that is not the link's helper is a failure, because a driver that
/// cannot reach the socket kills it.
Finding examinePidFile(std::int32_t link);

/// The socket of link `link`.
Finding examineSocket(std::int32_t link);

/// Which project the link's helper serves, if one runs. Throws CFailure (taken) when it is another.
Finding examineHolder(const Options& options);

}  // namespace tool
