#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "host/tool/examine/findings.h"
#include "host/tool/link/helper_files.h"
#include "host/tool/link/helper_version.h"
#include "host/tool/link/project.h"
#include "plant/check.h"

namespace tool {

namespace {

// Whether `shell` runs a command at all; shells of locked accounts do not. Result: 0 or an error number, -1 when the
// shell ran and refused.
int tryShell(const char* shell) {
  posix_spawn_file_actions_t silence;
  posix_spawn_file_actions_init(&silence);
  for (const int stream : {STDOUT_FILENO, STDERR_FILENO})
    posix_spawn_file_actions_addopen(&silence, stream, "/dev/null", O_WRONLY, 0);

  std::string arguments[] = {shell, "-c", "exit 0"};
  char* const argv[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(), nullptr};
  pid_t child = 0;
  const int error = posix_spawn(&child, shell, &silence, nullptr, argv, environ);
  posix_spawn_file_actions_destroy(&silence);
  if (error != 0) return error;

  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : -1;
}

}  // namespace

const char* wordOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kOk:
      return "ok";
    case Verdict::kWarning:
      return "warning";
    case Verdict::kFailed:
      return "failed";
    case Verdict::kSkipped:
      return "skipped";
  }
  return "";
}

Finding ok(const std::string& detail) {
  return {Verdict::kOk, detail, "", ExitStatus::kWell};
}

Finding warning(const std::string& detail, const std::string& remedy) {
  return {Verdict::kWarning, detail, remedy, ExitStatus::kWell};
}

Finding failed(ExitStatus status, const std::string& detail, const std::string& remedy) {
  return {Verdict::kFailed, detail, remedy, status};
}

Finding outcomeOf(const std::function<Finding()>& examine) {
  Finding finding;
  const auto failure = failureOf([&] { finding = examine(); });
  return failure ? failed(failure->status(), failure->problem(), failure->remedy()) : finding;
}

Finding examineProject(const Options& options) {
  std::vector<plant::Problem> problems;
  std::string error;
  if (plant::checkProject(projectFile(options), problems, error) != 0)
    return failed(ExitStatus::kProject, error, "mend the file");
  const auto end = std::remove_if(problems.begin(), problems.end(), [&](const plant::Problem& problem) {
    return problem.link && problem.link != options.link;
  });
  const auto count = std::distance(problems.begin(), end);
  if (count == 0) return ok("nothing to mend");
  const plant::Problem& first = problems.front();
  return warning(
      fmt::format("{} problem{}; line {}: {}: {}", count, count == 1 ? "" : "s", first.line, first.where, first.text),
      first.remedy + "; 'hmi-host check' lists them all");
}

Finding examineHelper(const std::string& projectDirectory, bool& isSimulated) {
  const std::string helper = findHelper(projectDirectory);
  const HelperVersion version = versionOf(helper);
  isSimulated = version.isSimulated;
  const std::string detail = version.text.empty() ? helper : fmt::format("{}: {}", helper, version.text);
  if (version.isSimulated) return warning(detail, "for a plant put the helper that asks its devices there");
  return ok(detail);
}

Finding examineShell() {
  const char* const shell = std::getenv("SHELL");
  if (shell == nullptr || *shell == '\0')
    return warning("not set; hmi-host takes /bin/sh", "an HMI runtime needs it to start the helper: set SHELL=/bin/sh");

  const int result = tryShell(shell);
  if (result == 0) return ok(shell);
  const std::string reason = result > 0 ? std::strerror(result) : "it does not run commands";
  return failed(ExitStatus::kUnreachable, fmt::format("{}: {}", shell, reason),
                "the helper is started through it: set SHELL=/bin/sh");
}

}  // namespace tool
