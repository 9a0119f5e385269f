#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "support/poll.h"
#include "support/temp_dir.h"

namespace support {

/// One run of a program, ended with the object.
class Program {
 public:
  /// `name` is that of its file in the build, `arguments` as a shell takes them.
  Program(const std::string& name, const std::string& arguments) {
    const std::string line = "exec " + std::string(EMULATOR) + " " BIN_DIR "/" + name + " " + arguments + " >" +
                             dir_.file("out") + " 2>" + dir_.file("err");
    pid_ = fork();
    if (pid_ == 0) {
      execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
      _exit(127);
    }
  }
  ~Program() {
    if (pid_ > 0) kill(pid_, SIGKILL);
    waitForEnd();
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  std::string readyLine() const {
    waitUntil([&] { return out().find('\n') != std::string::npos; });
    return out();
  }
  void signal(int number) const {
    ASSERT_GT(pid_, 0);
    kill(pid_, number);
  }
  int waitForEnd() {  // exit status, -1 for another end
    if (pid_ > 0) {
      int status = 0;
      const bool hasEnded = waitUntil([&] { return waitpid(pid_, &status, WNOHANG) == pid_; });
      status_ = hasEnded && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      if (hasEnded) pid_ = -1;
    }
    return status_;
  }
  std::string out() const { return readFile(dir_.file("out")); }
  std::string err() const { return readFile(dir_.file("err")); }

 private:
  const TempDir dir_;
  pid_t pid_ = -1;
  int status_ = -1;
};

}  // namespace support
