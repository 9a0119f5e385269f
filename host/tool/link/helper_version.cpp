#include "host/tool/link/helper_version.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <sstream>

namespace tool {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{2};
constexpr std::size_t kLongestText = 4096;
constexpr const char* kSimulationMark = "simulated points";

// What comes through `source` until its other end is closed, or time or room is up.
std::string readUntilEnd(int source) {
  std::string text;
  std::array<char, 512> chunk{};
  const auto deadline = steady_clock::now() + kPatience;
  while (text.size() < kLongestText) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now()).count();
    pollfd entry{source, POLLIN, 0};
    if (left <= 0 || poll(&entry, 1, static_cast<int>(left)) == 0) break;
    const ssize_t count = read(source, chunk.data(), chunk.size());
    if (count == 0 || (count < 0 && errno != EINTR && errno != EAGAIN)) break;
    if (count > 0) text.append(chunk.data(), static_cast<std::size_t>(count));
  }
  return text;
}

// Result: the child's number, or -1.
pid_t startWithOutput(const std::string& program, int output) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);

  std::string arguments[] = {program, "--version"};
  char* const argv[] = {arguments[0].data(), arguments[1].data(), nullptr};
  pid_t child = -1;
  const int error = posix_spawn(&child, program.c_str(), &actions, nullptr, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? child : -1;
}

std::string inOneLine(const std::string& text) {
  std::string line;
  std::istringstream lines(text);
  for (std::string part; std::getline(lines, part);) line += (line.empty() ? "" : ", ") + part;
  return line;
}

// A child that has closed its output, or says too much, or takes too long, has nothing more to do.
void end(pid_t child) {
  kill(child, SIGKILL);
  while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace

HelperVersion versionOf(const std::string& helper) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return {};
  const pid_t child = startWithOutput(helper, ends[1]);
  close(ends[1]);
  const std::string text = child > 0 ? readUntilEnd(ends[0]) : "";
  close(ends[0]);
  if (child > 0) end(child);
  return {inOneLine(text), text.find(kSimulationMark) != std::string::npos};
}

}  // namespace tool
