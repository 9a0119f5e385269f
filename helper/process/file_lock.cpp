#include "helper/process/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>
#include <utility>

namespace helper {

namespace {

constexpr std::chrono::milliseconds kPause{10};

bool isStill(const std::string& path, int file) {
  struct stat named {};
  struct stat open {};
  return ::lstat(path.c_str(), &named) == 0 && ::fstat(file, &open) == 0 && named.st_ino == open.st_ino &&
         named.st_dev == open.st_dev;
}

}  // namespace

CFileLock::CFileLock(std::string path, std::chrono::milliseconds wait, std::string& error) : path_(std::move(path)) {
  const auto end = std::chrono::steady_clock::now() + wait;
  while (!tryToTake()) {
    if (errno == EWOULDBLOCK && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(kPause);
      continue;
    }
    error = path_ + ": " + (errno == EWOULDBLOCK ? "held by another process" : std::strerror(errno));
    return;
  }
}

CFileLock::~CFileLock() {
  if (isHeld()) ::unlink(path_.c_str());  // while it is held, so that it is nobody else's
}

// Result: false with errno, EWOULDBLOCK when another process has it.
bool CFileLock::tryToTake() {
  constexpr mode_t kOwnersOnly = 0600;
  cbl::CDescriptor file(::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kOwnersOnly));
  if (file.number() < 0 || ::flock(file.number(), LOCK_EX | LOCK_NB) != 0) return false;
  if (!isStill(path_, file.number())) {  // the one who had it has removed it in between
    errno = EWOULDBLOCK;
    return false;
  }
  file_.reset(file.release());
  return true;
}

}  // namespace helper
