#include "helper/process/helper_log.h"

#include <fcntl.h>
#include <fmt/chrono.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "cbl/process/retry_interrupted.h"

namespace helper {

namespace {

constexpr std::size_t kLargest = std::size_t{8} << 20;

std::string timeNow() {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const auto milliseconds = duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  return fmt::format("{:%Y-%m-%d %H:%M:%S}.{:03}", fmt::localtime(system_clock::to_time_t(now)), milliseconds);
}

}  // namespace

bool CHelperLog::open(const std::string& path, std::string& error) {
  path_ = path;
  if (reopen()) return true;
  error = fmt::format("{}: {}", path, std::strerror(errno));
  return false;
}

bool CHelperLog::reopen() {
  struct stat status {};
  if (::stat(path_.c_str(), &status) == 0 && static_cast<std::size_t>(status.st_size) >= kLargest) {
    // Removed first: a file renamed over another one is written out at once, and a busy disk keeps the link waiting.
    const std::string old = path_ + ".old";
    ::unlink(old.c_str());
    if (std::rename(path_.c_str(), old.c_str()) != 0) return false;
    status.st_size = 0;
  }
  const int file = ::open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
  if (file < 0) return false;
  file_.reset(file);
  size_ = static_cast<std::size_t>(status.st_size);
  return true;
}

void CHelperLog::writeLine(std::string_view text) {
  if (size_ >= kLargest && !reopen()) return;  // nobody is left to tell: the standard streams are gone by now

  std::string line = timeNow() + ' ';
  for (const char byte : text) {
    const auto number = static_cast<unsigned char>(byte);
    if (number >= 0x20 && number < 0x7F) {
      line += byte;
    } else {
      fmt::format_to(std::back_inserter(line), "\\x{:02x}", number);
    }
  }
  line += '\n';
  const ssize_t written = cbl::retryInterrupted([&] { return ::write(file_.number(), line.data(), line.size()); });
  if (written > 0) size_ += static_cast<std::size_t>(written);
}

}  // namespace helper
