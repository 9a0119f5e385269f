#include <fmt/format.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "host/tool/findings.h"

namespace tool {

namespace {

constexpr const char* kRuntimeDirectory = "/tmp/velix_bacnet";
constexpr const char* kHelperName = "BACnet_Velix";

std::string linkFile(std::int32_t link, const char* extension) {
  return fmt::format("{}/link_{}.{}", kRuntimeDirectory, link, extension);
}

std::string contentOf(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Result: 0 when a helper accepts connections there, or an error number. A full backlog is EAGAIN.
int tryConnect(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (probe < 0) return errno;
  const int error = connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 ? 0 : errno;
  close(probe);
  return error;
}

bool isAlive(pid_t process) {
  return kill(process, 0) == 0 || errno == EPERM;
}

// By its command line, which also names a helper that an emulator runs.
bool isHelper(pid_t process) {
  return contentOf(fmt::format("/proc/{}/cmdline", process)).find(kHelperName) != std::string::npos;
}

}  // namespace

Finding examineRuntimeDirectory() {
  const std::string path = kRuntimeDirectory;
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return ok(path + " is not there yet; it is made with the first start");
  if (!S_ISDIR(status.st_mode))
    return failed(ExitStatus::kUnreachable, path + " is no directory", "remove it: it is made anew");
  if (status.st_uid != geteuid() && status.st_uid != 0)
    return failed(ExitStatus::kUnreachable, fmt::format("{} belongs to user {}", path, status.st_uid),
                  "its owner can put a false helper there; remove it, or run as that user");
  if ((status.st_mode & S_IWOTH) != 0)
    return failed(ExitStatus::kUnreachable, path + " can be written by everybody", "chmod o-w " + path);
  if (access(path.c_str(), W_OK | X_OK) != 0)
    return warning(path + " cannot be written by this user", "no helper can be started from here: run as its owner");
  return ok(fmt::format("{}, mode {:04o}", path, status.st_mode & 07777));
}

Finding examinePidFile(std::int32_t link) {
  const std::string path = linkFile(link, "pid");
  if (access(path.c_str(), F_OK) != 0) return ok("none; no helper of this link has been started");

  const auto process = static_cast<pid_t>(std::strtol(contentOf(path).c_str(), nullptr, 10));
  if (process <= 0) return warning(path + " names no process", "nothing to do: the next start replaces it");
  if (!isAlive(process))
    return warning(fmt::format("{} names process {}, which has ended", path, process),
                   "nothing to do: the next start replaces it");
  if (isHelper(process)) return ok(fmt::format("process {} lives", process));

  const std::string detail = fmt::format("{} names process {}, which is no helper", path, process);
  if (tryConnect(linkFile(link, "sock")) == 0) return warning(detail, "remove the file: sooner or later it is killed");
  return failed(ExitStatus::kUnreachable, detail, "remove the file: the next start would kill that process");
}

Finding examineSocket(std::int32_t link) {
  const std::string path = linkFile(link, "sock");
  const int error = tryConnect(path);
  if (error == 0) return ok(path + " accepts connections");
  if (error == ENOENT) return ok("none; the helper makes it when it starts");
  if (error == EACCES)
    return failed(ExitStatus::kUnreachable, path + " may not be used by this user", "run as the helper's owner");
  return warning(fmt::format("{} does not accept connections: {}", path, std::strerror(error)),
                 "nothing to do: the helper is started anew");
}

}  // namespace tool
