#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "host/tool/examine/findings.h"
#include "host/tool/link/helper_files.h"
#include "host/tool/link/helper_process.h"

namespace tool {

namespace {

std::string ownerAndMode(const std::string& path, const struct stat& status) {
  return fmt::format("{} belongs to user {}, mode {:04o}", path, status.st_uid, status.st_mode & 07777);
}

}  // namespace

Finding examineRuntimeDirectory(std::int32_t link) {
  const std::string path = kRuntimeDirectory;
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return ok(path + " is not there yet; it is made with the first start");
  if (!S_ISDIR(status.st_mode))
    return failed(ExitStatus::kUnreachable, path + " is no directory", "remove it: it is made anew");

  const std::string which = ownerAndMode(path, status);
  if (geteuid() == 0 && status.st_uid != 0 && isServed(link)) return ok(which);  // root looks at its helper's values
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

  const pid_t process = readPidFile(link);
  if (process < 0) return warning(path + " cannot be read by this user", "run as its owner");
  if (process == 0) return warning(path + " names no process", "nothing to do: the next start replaces it");
  if (!isAlive(process))
    return warning(fmt::format("{} names process {}, which has ended", path, process),
                   "nothing to do: the next start replaces it");
  if (isHelper(process, link)) return ok(fmt::format("process {} lives", process));

  const std::string detail = fmt::format("{} names process {}, which is no helper of this link", path, process);
  if (isServed(link)) return warning(detail, "remove the file: sooner or later it is killed");
  return failed(ExitStatus::kUnreachable, detail, "remove the file: the next start would kill that process");
}

Finding examineHolder(const Options& options) {
  const LinkHolder holder = holderOf(options.link);
  if (holder.kind != LinkHolder::kHelper) return ok("none runs");
  if (isOwn(holder, options)) return ok(fmt::format("process {} serves this project", holder.process));
  requireOwn(options);
  return warning(fmt::format("process {} was started for another project, {}", holder.process, holder.project),
                 "its other hosts show wrong values from now on: end them");
}

Finding examineSocket(std::int32_t link) {
  const std::string path = helperSocket(link);
  const int error = tryConnect(link);
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

}  // namespace tool
