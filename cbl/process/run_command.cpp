#include "cbl/process/run_command.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "cbl/file/read.h"

namespace cbl {

namespace {

constexpr const char* kExitCodeMarker = "@@__CMD_EXIT_CODE__@@";

struct ClosePipe {
  void operator()(std::FILE* pipe) const { pclose(pipe); }
};
using Pipe = std::unique_ptr<std::FILE, ClosePipe>;

Pipe openShell(const std::string& commandLine) {
  return Pipe(popen(commandLine.c_str(), "re"));
}

void stripLineEnd(char* line) {
  std::size_t length = std::strlen(line);
  while (length > 0 && (line[length - 1] == '\r' || line[length - 1] == '\n')) line[--length] = '\0';
}

}  // namespace

std::int32_t runCommand(const std::string& commandLine, std::list<std::string>* output) {
  const Pipe pipe = openShell(commandLine + (output != nullptr ? "" : ">/dev/null 2>&1") + ";echo $?");
  if (!pipe) return -1;

  std::list<std::string> scratch;
  std::list<std::string>& lines = output != nullptr ? *output : scratch;
  if (readLines(pipe.get(), &lines) < 1) return -2;

  const std::int32_t exitCode = std::atoi(lines.back().c_str());
  lines.pop_back();
  return exitCode;
}

std::int32_t runCommandWithCallback(const std::string& commandLine, const LineCallback& callback,
                                    std::uintptr_t userValue) {
  if (!callback) return -1;
  const Pipe pipe = openShell(commandLine + ";echo " + kExitCodeMarker + "$?");
  if (!pipe) return -2;

  const std::size_t markerLength = std::strlen(kExitCodeMarker);
  char line[4096];
  while (std::fgets(line, sizeof(line), pipe.get()) != nullptr) {
    stripLineEnd(line);
    if (std::strlen(line) > markerLength && std::strncmp(line, kExitCodeMarker, markerLength) == 0) {
      return std::atoi(line + markerLength);
    }
    callback(line, userValue);
  }
  return -127;
}

}  // namespace cbl
