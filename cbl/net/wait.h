#pragma once

#include <cstdint>

namespace cbl {

enum class WaitFor { kReadable, kWritable };

/// Waits until `descriptor` is ready, has failed or was hung up, for `timeoutMs` milliseconds; below 0 without limit.
/// Not restarted after a signal. Takes descriptors of any number.
/// Result: 1 ready; 0 time-out; -1 failed, with errno (EINTR after a signal, EBADF for a closed descriptor).
std::int32_t waitFor(std::int32_t descriptor, WaitFor what, std::int32_t timeoutMs);

/// Whether a call that failed with `error` says only that there is nothing yet, or that a signal came in between.
bool isTransient(std::int32_t error);

struct PairReady {
  bool first = false;
  bool second = false;
};

/// The same for reading from either of two descriptors; `ready` says which.
std::int32_t waitForEither(std::int32_t first, std::int32_t second, std::int32_t timeoutMs, PairReady& ready);

}  // namespace cbl
