#include "bench/child_process.h"

#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace bench {

CChildProcess::CChildProcess(const std::function<void()>& body) : pid_(fork()) {
  if (pid_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (pid_ > 0) return;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  body();
  _exit(1);
}

CChildProcess::~CChildProcess() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

void runOnOneProcessor() {
  cpu_set_t allowed;
  if (sched_getaffinity(0, sizeof(allowed), &allowed) != 0) {
    throw std::system_error(errno, std::generic_category(), "sched_getaffinity");
  }
  int last = CPU_SETSIZE - 1;
  while (!CPU_ISSET(last, &allowed)) --last;
  cpu_set_t chosen;
  CPU_ZERO(&chosen);
  CPU_SET(last, &chosen);
  if (sched_setaffinity(0, sizeof(chosen), &chosen) != 0) {
    throw std::system_error(errno, std::generic_category(), "sched_setaffinity");
  }
}

}  // namespace bench
