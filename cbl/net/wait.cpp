#include "cbl/net/wait.h"

#include <poll.h>

#include <cerrno>

namespace cbl {

namespace {

// poll passes over negative descriptors and reports closed ones as an event; both are failures here.
std::int32_t waitForAny(pollfd* descriptors, nfds_t count, std::int32_t timeoutMs) {
  for (nfds_t i = 0; i < count; ++i) {
    if (descriptors[i].fd < 0) {
      errno = EBADF;
      return -1;
    }
  }
  const int ready = poll(descriptors, count, timeoutMs < 0 ? -1 : timeoutMs);
  if (ready <= 0) return ready;
  for (nfds_t i = 0; i < count; ++i) {
    if ((descriptors[i].revents & POLLNVAL) != 0) {
      errno = EBADF;
      return -1;
    }
  }
  return 1;
}

}  // namespace

bool isTransient(std::int32_t error) {
  return error == EAGAIN || error == EINTR;
}

std::int32_t waitFor(std::int32_t descriptor, WaitFor what, std::int32_t timeoutMs) {
  pollfd entry{descriptor, static_cast<short>(what == WaitFor::kReadable ? POLLIN : POLLOUT), 0};
  return waitForAny(&entry, 1, timeoutMs);
}

std::int32_t waitForEither(std::int32_t first, std::int32_t second, std::int32_t timeoutMs, PairReady& ready) {
  pollfd entries[2] = {{first, POLLIN, 0}, {second, POLLIN, 0}};
  const std::int32_t result = waitForAny(entries, 2, timeoutMs);
  ready = {result > 0 && entries[0].revents != 0, result > 0 && entries[1].revents != 0};
  return result;
}

}  // namespace cbl
