#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "host/tool/examine/findings.h"
#include "host/tool/link/helper_files.h"

namespace tool {

namespace {

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

// A process that has ended, but that nobody has taken note of, does not count.
bool isAlive(pid_t process) {
  const std::string status = contentOf(fmt::format("/proc/{}/stat", process));
  const std::size_t name = status.rfind(") ");
  if (name != std::string::npos && status.compare(name + 2, 1, "Z") == 0) return false;
  return kill(process, 0) == 0 || errno == EPERM;
}

// By its command line: the program's path, also where an emulator or a shell runs it, and behind it the link's number.
bool isHelper(pid_t process, std::int32_t link) {
  const std::string commandLine = '\0' + contentOf(fmt::format("/proc/{}/cmdline", process));
  const std::size_t end = commandLine.find(fmt::format("{}{}{}", '\0', link, '\0'));
  if (end == std::string::npos) return false;
  const std::size_t name = commandLine.find_last_of(std::string("/\0", 2), end - 1) + 1;
  return commandLine.compare(name, std::strlen(kHelperName), kHelperName) == 0;
}

std::string ownerAndMode(const std::string& path, const struct stat& status) {
  return fmt::format("{} belongs to user {}, mode {:04o}", path, status.st_uid, status.st_mode & 07777);
}

// Result: an empty text when the file cannot be read.
std::string readPidFile(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return "";
  std::array<char, 32> text{};
  const ssize_t count = read(file, text.data(), text.size() - 1);
  close(file);
  return count > 0 ? text.data() : " ";
}

}  // namespace

Finding examineRuntimeDirectory(std::int32_t link) {
  const std::string path = kRuntimeDirectory;
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return ok(path + " is not there yet; it is made with the first start");
  if (!S_ISDIR(status.st_mode))
    return failed(ExitStatus::kUnreachable, path + " is no directory", "remove it: it is made anew");

  const std::string which = ownerAndMode(path, status);
  if (status.st_uid != geteuid() && status.st_uid != 0)
    return failed(ExitStatus::kUnreachable, which + ": neither you nor root",
                  "its owner can put a false helper there; remove it, or run as that user");
  if ((status.st_mode & S_IWOTH) != 0)
    return failed(ExitStatus::kUnreachable, which + ", can be written by everybody", "chmod o-w " + path);
  if (access(path.c_str(), W_OK | X_OK) != 0) {
    const std::string detail = fmt::format("{}, cannot be used by this user: {}", which, std::strerror(errno));
    const char* const remedy = status.st_uid == geteuid() ? "give its owner the rights: mode 0755" : "run as its owner";
    return isServed(link) ? warning(detail, remedy) : failed(ExitStatus::kUnreachable, detail, remedy);
  }
  if ((status.st_mode & S_IWGRP) != 0) return warning(which + ", can be written by its group", "chmod g-w " + path);
  return ok(which);
}

Finding examinePidFile(std::int32_t link) {
  const std::string path = helperPidFile(link);
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return ok("none; no helper of this link runs");
  if (!S_ISREG(status.st_mode)) return failed(ExitStatus::kUnreachable, path + " is no file", "remove it");

  const std::string text = readPidFile(path);
  if (text.empty()) return warning(path + " cannot be read by this user", "run as its owner");
  const auto process = static_cast<pid_t>(std::strtol(text.c_str(), nullptr, 10));
  if (process <= 0) return warning(path + " names no process", "nothing to do: the next start replaces it");
  if (!isAlive(process))
    return warning(fmt::format("{} names process {}, which has ended", path, process),
                   "nothing to do: the next start replaces it");
  if (isHelper(process, link)) return ok(fmt::format("process {} lives", process));

  const std::string detail = fmt::format("{} names process {}, which is no helper of this link", path, process);
  if (isServed(link)) return warning(detail, "remove the file: sooner or later it is killed");
  return failed(ExitStatus::kUnreachable, detail, "remove the file: the next start would kill that process");
}

Finding examineSocket(std::int32_t link) {
  const std::string path = helperSocket(link);
  const int error = tryConnect(path);
  if (error == 0) return ok(path + " accepts connections");
  if (error == ENOENT) return ok("none; the helper makes it when it starts");
  if (error == EACCES)
    return failed(ExitStatus::kUnreachable, path + " may not be used by this user", "run as the helper's owner");
  struct stat status {};
  if (lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode))
    return failed(ExitStatus::kUnreachable, path + " is a directory", "remove it");
  return warning(fmt::format("{} does not accept connections: {}", path, std::strerror(error)),
                 "nothing to do: the helper is started anew");
}

bool isServed(std::int32_t link) {
  return tryConnect(helperSocket(link)) == 0;
}

}  // namespace tool
