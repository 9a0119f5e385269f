#pragma once

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <string>

#include "support/poll.h"

namespace support {

/// A shell's command on a terminal of its own, as somebody sits before it.
class Terminal {
 public:
  Terminal(const std::string& command, unsigned short rows, unsigned short columns) {
    const winsize size = {rows, columns, 0, 0};
    process_ = forkpty(&master_, nullptr, nullptr, &size);
    if (process_ == 0) {
      setenv("TERM", "xterm", 1);
      execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
      _exit(127);
    }
    fcntl(master_, F_SETFL, O_NONBLOCK);
  }
  ~Terminal() {
    if (process_ > 0) {
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
    }
    close(master_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  bool press(const std::string& keys) {
    shown_.clear();
    return write(master_, keys.data(), keys.size()) == static_cast<ssize_t>(keys.size());
  }

  /// Whether `text` is shown, since keys were pressed last, before the time is up.
  bool shows(const std::string& text) {
    return waitUntil([&] { return take(), shown_.find(text) != std::string::npos; });
  }
  const std::string& shown() const { return shown_; }

  /// The command's exit status; -1 when it goes on, or a signal has ended it.
  int status() {
    int status = 0;
    if (!waitUntil([&] { return take(), waitpid(process_, &status, WNOHANG) == process_; })) return -1;
    process_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  void take() {
    char chunk[4096];
    for (ssize_t count = 0; (count = read(master_, chunk, sizeof(chunk))) > 0;)
      shown_.append(chunk, static_cast<std::size_t>(count));
  }

  int master_ = -1;
  pid_t process_ = -1;
  std::string shown_;
};

}  // namespace support
