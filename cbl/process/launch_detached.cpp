#include "cbl/process/launch_detached.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "cbl/net/descriptor.h"
#include "cbl/process/child_report.h"
#include "cbl/process/child_signals.h"
#include "cbl/process/close_descriptors.h"
#include "cbl/process/retry_interrupted.h"

namespace cbl {

namespace {

// Everything the children need, made before the fork: between fork and exec only async-signal-safe calls are allowed,
// because another thread of the host may have held any lock at the moment of the fork.
struct Launch {
  std::string shellPath;
  std::string shellName;
  const std::string& commandLine;
  std::int32_t highestDescriptor;
  CChildReport writeFailed;
  CChildReport execFailed;
};

[[noreturn]] void runShell(Launch& launch, int readEnd, int writeEnd) {
  close(readEnd);
  close(writeEnd);
  unblockSignals();
  execl(launch.shellPath.c_str(), launch.shellName.c_str(), "-c", launch.commandLine.c_str(),
        static_cast<char*>(nullptr));
  launch.execFailed.writeWithError(errno);
  _exit(127);
}

// The process in between: its child is an orphan as soon as it ends.
[[noreturn]] void runIntermediate(Launch& launch, int readEnd, int writeEnd) {
  closeDescriptorsFrom3(readEnd, writeEnd, launch.highestDescriptor);
  const pid_t started = _Fork();
  if (started == 0) runShell(launch, readEnd, writeEnd);

  close(readEnd);
  if (started < 0) {
    close(writeEnd);
    _exit(1);
  }
  if (write(writeEnd, &started, sizeof(started)) != static_cast<ssize_t>(sizeof(started))) launch.writeFailed.write();
  close(writeEnd);
  _exit(0);
}

bool readProcessId(int readEnd, std::int32_t& processId) {
  static_assert(sizeof(pid_t) == sizeof(processId));
  const ssize_t count = retryInterrupted([&] { return read(readEnd, &processId, sizeof(processId)); });
  return count == static_cast<ssize_t>(sizeof(processId));
}

bool endedWell(pid_t child) {
  int status = 0;
  const pid_t waited = retryInterrupted([&] { return waitpid(child, &status, 0); });
  return waited == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

std::int32_t launchDetached(const std::string& commandLine) {
  if (commandLine.empty()) return -1;

  const char* shell = std::getenv("SHELL");
  if (shell == nullptr) return -2;
  const std::string shellPath = shell;
  Launch launch{shellPath,
                shellPath.substr(shellPath.find_last_of("/\\") + 1),
                commandLine,
                highestDescriptor(),
                CChildReport("child write pipe error\n"),
                CChildReport("execl " + commandLine + " error ")};

  CDescriptor readEnd;
  CDescriptor writeEnd;
  if (openPipe(readEnd, writeEnd) != 0) return -2;

  const pid_t child = fork();
  if (child < 0) return -3;
  if (child == 0) runIntermediate(launch, readEnd.number(), writeEnd.number());

  writeEnd.reset(-1);
  std::int32_t processId = 0;
  const bool arrived = readProcessId(readEnd.number(), processId);
  if (!arrived) std::puts("parent read pipe error");
  const bool well = endedWell(child);  // waited for in either case, so that no zombie stays
  if (!arrived) return -4;
  return well ? processId : -5;
}

}  // namespace cbl
