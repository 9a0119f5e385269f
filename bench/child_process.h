#pragma once

#include <sys/types.h>

#include <functional>

namespace bench {

/// A process that serves a measurement. It is killed and reaped with its object, and killed by the system when this
/// process dies. It runs on the processors of the process that makes it.
class CChildProcess {
 public:
  /// Runs `body` in a fork of this process, which ends when `body` returns. Throws std::system_error.
  explicit CChildProcess(const std::function<void()>& body);
  ~CChildProcess();

  CChildProcess(const CChildProcess&) = delete;
  CChildProcess& operator=(const CChildProcess&) = delete;

  pid_t pid() const { return pid_; }

 private:
  pid_t pid_;
};

/// Ties this process and its later children to one processor.
void runOnOneProcessor();

}  // namespace bench
