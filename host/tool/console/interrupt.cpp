#include "host/tool/console/interrupt.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <limits>

#include "host/tool/console/keyboard.h"
#include "host/tool/failure.h"

namespace tool {

namespace {

// A signal handler looks at these, and wasNoted is asked for in other threads besides.
std::atomic<int> notes{0};  // that live
std::atomic<bool> wasNoted{false};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);
int wakeUp = -1;  // becomes readable with the first interrupt

extern "C" void onInterrupt(int /*signal*/) {
  if (notes == 0 || wasNoted) {
    restoreTerminal();
    _exit(static_cast<int>(ExitStatus::kInterrupted));
  }
  wasNoted = true;
  const int before = errno;
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(wakeUp, &one, sizeof(one));  // fails only when it is readable already
  errno = before;
}

}  // namespace

void installInterruptHandler() {
  wakeUp = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wakeUp < 0) throw CFailure(ExitStatus::kInternal, "no descriptor is free", "raise the limit (ulimit -n)");
  struct sigaction action {};
  action.sa_handler = onInterrupt;
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

CInterruptNote::CInterruptNote() {
  ++notes;
}

CInterruptNote::~CInterruptNote() {
  --notes;
}

CInterruptNote::Event CInterruptNote::waitUntil(std::chrono::steady_clock::time_point time, int input) const {
  for (;;) {
    using std::chrono::milliseconds;
    const auto left = std::chrono::ceil<milliseconds>(time - std::chrono::steady_clock::now()).count();
    if (isInterrupted()) return Event::kInterrupt;
    if (left <= 0) return Event::kTime;
    std::array<pollfd, 2> entries = {{{wakeUp, POLLIN, 0}, {input, POLLIN, 0}}};
    const auto limit = std::min<std::int64_t>(left, std::numeric_limits<int>::max());
    if (poll(entries.data(), entries.size(), static_cast<int>(limit)) > 0 && entries[1].revents != 0)
      return Event::kInput;
  }
}

bool isInterrupted() {
  return wasNoted;
}

int interruptDescriptor() {
  return wakeUp;
}

}  // namespace tool
