#pragma once

#include <cerrno>

namespace cbl {

/// Calls `operation`, a system call that answers below 0 on failure, again for as long as a signal interrupts it.
/// Async-signal-safe when the operation is.
template <typename Operation>
auto retryInterrupted(Operation operation) {
  auto result = operation();
  while (result < 0 && errno == EINTR) result = operation();
  return result;
}

}  // namespace cbl
