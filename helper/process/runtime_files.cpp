#include "helper/process/runtime_files.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>

#include "cbl/process/retry_interrupted.h"
#include "helper/process/file_lock.h"

namespace helper {

namespace {

constexpr mode_t kRuntimeDirectoryMode = 0755;
constexpr std::chrono::milliseconds kLockWait{2000};

std::string failure(const std::string& path) {
  return fmt::format("{}: {}", path, std::strerror(errno));
}

// The paths are short: the directory's and a number.
sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

cbl::CDescriptor makeSocket() {
  return cbl::CDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

// A full backlog (EAGAIN) is a helper, too.
bool isAnswered(const std::string& path) {
  const cbl::CDescriptor probe = makeSocket();
  const sockaddr_un address = addressOf(path);
  return ::connect(probe.number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 ||
         errno == EAGAIN;
}

std::string readAll(const std::string& path) {
  char text[64];
  const cbl::CDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  const ssize_t count = cbl::retryInterrupted([&] { return ::read(file.number(), text, sizeof(text)); });
  return count > 0 ? std::string(text, static_cast<std::size_t>(count)) : std::string();
}

// Under another name first, so that nobody reads half a number.
bool writePid(const std::string& path, std::string& error) {
  const std::string pid = std::to_string(::getpid());
  const std::string temporary = path + "." + pid;
  const cbl::CDescriptor file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644));
  if (file.number() >= 0 && ::write(file.number(), pid.data(), pid.size()) == static_cast<ssize_t>(pid.size()) &&
      std::rename(temporary.c_str(), path.c_str()) == 0) {
    return true;
  }
  error = failure(path);
  ::unlink(temporary.c_str());
  return false;
}

}  // namespace

CRuntimeFiles::CRuntimeFiles(std::int32_t link) {
  const std::string stem = fmt::format("{}/link_{}", kRuntimeDirectory, link);
  socketPath_ = stem + ".sock";
  pidPath_ = stem + ".pid";
  logPath_ = stem + ".log";
  lockPath_ = stem + ".lock";
}

CRuntimeFiles::~CRuntimeFiles() {
  if (listener_.number() < 0) return;
  std::string unused;
  const CFileLock lock(lockPath_, kLockWait, unused);
  if (!lock.isHeld()) return;  // what stays behind is replaced by the next helper
  // The listening socket is still open, so its file's number cannot have gone to another helper's socket.
  struct stat status {};
  const bool isOwnSocket = ::lstat(socketPath_.c_str(), &status) == 0 && status.st_ino == socketStatus_.st_ino &&
                           status.st_dev == socketStatus_.st_dev;
  if (isOwnSocket) ::unlink(socketPath_.c_str());
  if (readAll(pidPath_) == std::to_string(::getpid())) ::unlink(pidPath_.c_str());
}

bool CRuntimeFiles::claim(std::string& error) {
  if (!prepareDirectory(error)) return false;

  const CFileLock lock(lockPath_, kLockWait, error);
  if (!lock.isHeld()) return false;
  if (isAnswered(socketPath_)) {
    error = fmt::format("{} is served by another helper (pid {})", socketPath_, readAll(pidPath_));
    return false;
  }
  return listen(error);
}

bool CRuntimeFiles::prepareDirectory(std::string& error) const {
  if (::mkdir(kRuntimeDirectory, kRuntimeDirectoryMode) != 0 && errno != EEXIST) {
    error = failure(kRuntimeDirectory);
    return false;
  }
  struct stat status {};
  if (::lstat(kRuntimeDirectory, &status) != 0) {
    error = failure(kRuntimeDirectory);
  } else if (!S_ISDIR(status.st_mode)) {
    error = fmt::format("{} is not a directory", kRuntimeDirectory);
  } else if (status.st_uid != ::geteuid()) {
    error = fmt::format("{} belongs to another user (uid {})", kRuntimeDirectory, status.st_uid);
  } else {
    return true;
  }
  return false;
}

// Bound and listening under another name first: a socket that can be seen can be connected to.
bool CRuntimeFiles::listen(std::string& error) {
  cbl::CDescriptor listener = makeSocket();
  const std::string temporary = fmt::format("{}.{}", socketPath_, ::getpid());
  const sockaddr_un address = addressOf(temporary);
  ::unlink(temporary.c_str());
  const bool isListening =
      ::bind(listener.number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 &&
      ::listen(listener.number(), SOMAXCONN) == 0 && ::lstat(temporary.c_str(), &socketStatus_) == 0;
  if (!isListening) error = failure(socketPath_);
  if (!isListening || !publish(temporary, error)) {
    ::unlink(temporary.c_str());
    return false;
  }
  listener_.reset(listener.release());
  return true;
}

bool CRuntimeFiles::publish(const std::string& temporary, std::string& error) const {
  if (!writePid(pidPath_, error)) return false;
  if (std::rename(temporary.c_str(), socketPath_.c_str()) == 0) return true;
  error = failure(socketPath_);
  ::unlink(pidPath_.c_str());
  return false;
}

}  // namespace helper
