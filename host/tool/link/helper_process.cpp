#include "host/tool/link/helper_process.h"

#include <fmt/format.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "host/tool/failure.h"
#include "host/tool/link/helper_files.h"

namespace tool {

namespace {

namespace fs = std::filesystem;

std::string contentOf(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string processFile(pid_t process, const char* name) {
  return fmt::format("/proc/{}/{}", process, name);
}

std::vector<std::string> argumentsOf(pid_t process) {
  std::vector<std::string> arguments;
  std::ifstream commandLine(processFile(process, "cmdline"));
  for (std::string argument; std::getline(commandLine, argument, '\0');) arguments.push_back(argument);
  return arguments;
}

// By its command line: the program's path, also where an emulator or a shell runs it, and behind it the link's number.
// Result: that path as it was given; empty when the process is no helper of this link.
fs::path helperPath(pid_t process, std::int32_t link) {
  const std::vector<std::string> arguments = argumentsOf(process);
  for (std::size_t i = 0; i + 1 < arguments.size(); ++i) {
    fs::path program = arguments[i];
    if (program.filename().string().rfind(kHelperName, 0) == 0 && arguments[i + 1] == std::to_string(link))
      return program;
  }
  return {};
}

fs::path linkTarget(const std::string& path) {
  std::error_code unknown;
  return fs::read_symlink(path, unknown);
}

// Below the fallback folder the project is what holds that folder.
fs::path projectAround(const fs::path& directory) {
  fs::path project;
  for (const fs::path& part : directory) {
    if (part == kFallbackFolder) return project;
    project /= part;
  }
  return project;
}

// A driver starts the helper by its path in the project, and with the host's own working directory. By hand it may be
// started from elsewhere, within the project's directory.
std::string projectOf(pid_t process, const fs::path& program) {
  const fs::path workingDirectory = linkTarget(processFile(process, "cwd"));
  const fs::path executable =
      program.has_parent_path() ? workingDirectory / program : linkTarget(processFile(process, "exe"));
  const fs::path project = projectAround(executable.lexically_normal().parent_path());
  std::error_code unknown;
  if (!fs::exists(project / kProjectFile, unknown) && fs::exists(workingDirectory / kProjectFile, unknown))
    return workingDirectory;
  return project;
}

int openSocket(std::int32_t link, int& probe) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  helperSocket(link).copy(address.sun_path, sizeof(address.sun_path) - 1);
  probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (probe < 0) return errno;
  return connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 ? 0 : errno;
}

// Result: 0 when nobody accepts connections.
pid_t socketOwner(std::int32_t link) {
  int probe = -1;
  ucred owner{};
  socklen_t size = sizeof(owner);
  const bool isKnown = openSocket(link, probe) == 0 && getsockopt(probe, SOL_SOCKET, SO_PEERCRED, &owner, &size) == 0;
  if (probe >= 0) close(probe);
  return isKnown ? owner.pid : 0;
}

}  // namespace

LinkHolder holderOf(std::int32_t link) {
  for (const pid_t process : {socketOwner(link), readPidFile(link)}) {
    if (process <= 0 || !isAlive(process)) continue;
    const fs::path program = helperPath(process, link);
    if (program.empty()) return {LinkHolder::kStranger, process, ""};
    return {LinkHolder::kHelper, process, projectOf(process, program)};
  }
  return {};
}

bool isOwn(const LinkHolder& holder, const Options& options) {
  std::error_code unknown;
  return fs::equivalent(holder.project, options.project, unknown);
}

void requireOwn(const Options& options) {
  const LinkHolder holder = holderOf(options.link);
  if (holder.kind == LinkHolder::kStranger && !isServed(options.link))
    throw CFailure(ExitStatus::kUnreachable,
                   fmt::format("{} names process {}, which is no helper of this link", helperPidFile(options.link),
                               holder.process),
                   "remove the file: the next start would kill that process");
  if (holder.kind != LinkHolder::kHelper || options.takesOver || isOwn(holder, options)) return;
  throw CFailure(ExitStatus::kTaken,
                 fmt::format("link {} is served by process {} for another project, {}", options.link, holder.process,
                             holder.project),
                 "name that directory with --project, or another link; --take-over hands the helper this project, and "
                 "its other hosts then show wrong values");
}

// A process that has ended, but that nobody has taken note of, does not count.
bool isAlive(pid_t process) {
  const std::string status = contentOf(processFile(process, "stat"));
  const std::size_t name = status.rfind(") ");
  if (name != std::string::npos && status.compare(name + 2, 1, "Z") == 0) return false;
  return kill(process, 0) == 0 || errno == EPERM;
}

pid_t readPidFile(std::int32_t link) {
  const std::string path = helperPidFile(link);
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || access(path.c_str(), R_OK) != 0) return -1;
  return static_cast<pid_t>(std::strtol(contentOf(path).c_str(), nullptr, 10));
}

bool isHelper(pid_t process, std::int32_t link) {
  return !helperPath(process, link).empty();
}

int tryConnect(std::int32_t link) {
  int probe = -1;
  const int error = openSocket(link, probe);
  if (probe >= 0) close(probe);
  return error;
}

bool isServed(std::int32_t link) {
  return tryConnect(link) == 0;
}

}  // namespace tool
