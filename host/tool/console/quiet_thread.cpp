#include "host/tool/console/quiet_thread.h"

#include <csignal>
#include <utility>

namespace tool {

std::thread startWithoutSignals(std::function<void()> work) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &before);
  std::thread thread(std::move(work));
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

}  // namespace tool
