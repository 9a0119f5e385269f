#include "cbl/process/exec_command.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>

#include "cbl/process/child_report.h"
#include "cbl/process/close_descriptors.h"
#include "cbl/process/retry_interrupted.h"

namespace cbl {

namespace {

bool isBlank(char c) {
  return std::isspace(static_cast<unsigned char>(c)) != 0;
}

// Pointers into the strings, ended by a null pointer, as exec takes them.
std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// The caller's environment with `entries` put into it in order; an entry without "=" takes its variable out.
std::vector<std::string> mergedEnvironment(const std::vector<std::string>& entries) {
  std::vector<std::string> merged;
  for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable)
    merged.emplace_back(*variable);

  for (const std::string& entry : entries) {
    const std::string start = entry.substr(0, entry.find('=')) + "=";
    const auto found = std::find_if(merged.begin(), merged.end(),
                                    [&](const std::string& held) { return held.compare(0, start.size(), start) == 0; });
    if (entry.find('=') == std::string::npos) {
      if (found != merged.end()) merged.erase(found);
    } else if (found != merged.end()) {
      *found = entry;
    } else {
      merged.push_back(entry);
    }
  }
  return merged;
}

// What daemon(0, !detachOutput) does, with async-signal-safe calls only.
bool becomeDaemon(bool detachOutput) {
  const pid_t child = _Fork();
  if (child < 0) return false;
  if (child > 0) _exit(0);
  if (setsid() < 0 || chdir("/") != 0) return false;
  if (!detachOutput) return true;

  const int null = open("/dev/null", O_RDWR);
  if (null < 0) return false;
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) dup2(null, stream);
  if (null > STDERR_FILENO) close(null);
  return true;
}

}  // namespace

std::int32_t parseCmdline(const std::string& commandLine, std::vector<std::string>& tokens) {
  if (commandLine.find('\0') != std::string::npos) return -1;

  std::int32_t count = 0;
  const auto end = commandLine.end();
  auto at = std::find_if_not(commandLine.begin(), end, isBlank);
  while (at != end) {
    const auto isStop = [](char c) { return c == '"' || c == '\n' || c == '\r'; };
    const auto closing = *at == '"' ? std::find_if(at + 1, end, isStop) : end;
    auto next = end;
    if (closing != end && *closing == '"') {
      tokens.emplace_back(at + 1, closing);
      next = closing + 1;
    } else {
      next = std::find_if(at, end, isBlank);
      tokens.emplace_back(at, next);
    }
    ++count;
    at = std::find_if_not(next, end, isBlank);
  }
  return count;
}

std::int32_t execCommand(const std::string& commandLine, const std::vector<std::string>& extraArguments,
                         const std::vector<std::string>& environment, bool detachOutput) {
  if (commandLine.empty()) return -1;

  std::vector<std::string> arguments;
  const std::int32_t parsed = parseCmdline(commandLine, arguments);
  if (parsed < 0) {
    std::printf("parseCmdline %s error %d\n", commandLine.c_str(), parsed);
    return -2;
  }
  if (parsed == 0) return -3;

  arguments.insert(arguments.end(), extraArguments.begin(), extraArguments.end());
  const std::string program = arguments.front();
  if (access(program.c_str(), X_OK) != 0) return -4;

  // Made before the fork: afterwards only async-signal-safe calls are allowed.
  std::vector<std::string> variables = mergedEnvironment(environment);
  const std::vector<char*> argv = pointersTo(arguments);
  const std::vector<char*> envp = pointersTo(variables);
  const std::int32_t highest = highestDescriptor();
  CChildReport execFailed("execve " + program + " error ");

  const pid_t child = fork();
  if (child > 0) {
    return retryInterrupted([&] { return waitpid(child, nullptr, 0); }) < 0 ? -5 : 0;
  }

  // Also reached when the fork failed: then the calling process itself goes on as the program.
  closeDescriptorsFrom3(highest);
  if (!becomeDaemon(detachOutput)) return -6;
  execve(program.c_str(), argv.data(), envp.data());
  execFailed.writeWithError(errno);
  _exit(127);
}

}  // namespace cbl
