#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

namespace cbl {

/// A line that a forked child writes straight to standard output, past the stream's buffer: that buffer is a copy of
/// its parent's. Construct it before the fork with the room it needs; afterwards every operation is async-signal-safe.
class CChildReport {
 public:
  /// `start` is the line up to the error number; room for the rest is taken along.
  explicit CChildReport(std::string start) : line_(std::move(start)) { line_.reserve(line_.size() + kErrorRoom); }

  /// Appends `error`, a colon, its text and a line feed, and writes the line.
  void writeWithError(int error) {
    appendNumber(error);
    const char* text = strerrordesc_np(error);
    line_.append(":").append(text != nullptr ? text : "Unknown error").append("\n");
    write();
  }

  void write() const {
    const char* at = line_.data();
    std::size_t left = line_.size();
    while (left > 0) {
      const ssize_t count = ::write(STDOUT_FILENO, at, left);
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) return;
      at += count;
      left -= static_cast<std::size_t>(count);
    }
  }

 private:
  static constexpr std::size_t kErrorRoom = 256;

  void appendNumber(int number) {
    char digits[12];
    std::size_t at = sizeof(digits);
    do {
      digits[--at] = static_cast<char>('0' + number % 10);
      number /= 10;
    } while (number > 0);
    line_.append(digits + at, sizeof(digits) - at);
  }

  std::string line_;
};

}  // namespace cbl
