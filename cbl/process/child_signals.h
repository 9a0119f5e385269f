#pragma once

#include <signal.h>

namespace cbl {

/// For use between fork and exec: async-signal-safe. The program to come starts with no signal blocked, whatever the
/// thread that started it blocks. The host's handlers, which exec would take away, go first: none runs in the child.
inline void unblockSignals() {
  for (int signal = 1; signal < NSIG; ++signal) {
    struct sigaction action {};
    if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    action.sa_handler = SIG_DFL;
    action.sa_flags = 0;
    sigaction(signal, &action, nullptr);
  }
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

}  // namespace cbl
