#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "host/tool/examine/findings.h"
#include "host/tool/link/helper_files.h"

namespace tool {

namespace {

namespace fs = std::filesystem;

constexpr const char* kShellCharacters = " \t\n|&;<>()$`\\\"'*?[";  // the start's command line has no quotes

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

Finding ok(const std::string& detail) {
  return {Verdict::kOk, detail, "", ExitStatus::kWell};
}

Finding warning(const std::string& detail, const std::string& remedy) {
  return {Verdict::kWarning, detail, remedy, ExitStatus::kWell};
}

Finding failed(ExitStatus status, const std::string& detail, const std::string& remedy) {
  return {Verdict::kFailed, detail, remedy, status};
}

Finding examineHelper(const std::string& projectDirectory) {
  const std::string helper = findHelper(projectDirectory);
  if (helper == kHelperName)
    return failed(ExitStatus::kUnreachable,
                  fmt::format("no {} in {} nor below its {}", kHelperName, projectDirectory, kFallbackFolder),
                  fmt::format("copy {} into the project directory", kHelperName));
  std::error_code unknown;
  if (!fs::is_regular_file(helper, unknown))
    return failed(ExitStatus::kUnreachable, helper + " is no file", "put the helper's executable in its place");
  if (access(helper.c_str(), X_OK) != 0)
    return failed(ExitStatus::kUnreachable, helper + " may not be executed", fmt::format("chmod +x '{}'", helper));
  if (helper.find_first_of(kShellCharacters) != std::string::npos)
    return failed(ExitStatus::kUnreachable,
                  fmt::format("'{}' has a blank or a character that means something to the shell", helper),
                  "move the project to a directory without: the helper is started without quotes");
  return ok(helper);
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
