#pragma once

#include <semaphore.h>

#include <cstdint>

namespace cbl {

/// A counting semaphore whose count starts at 0 and never rises above a ceiling: posts beyond it are dropped, so a
/// ceiling of 1 makes a binary event. One thread may post while another waits; two threads that post at the same moment
/// may both pass the ceiling's test. `init`, `reinit` and `destroy` must not overlap any other operation.
class CSemaphoreEx {
 public:
  explicit CSemaphoreEx(std::int32_t ceiling = 1);
  virtual ~CSemaphoreEx();

  CSemaphoreEx(const CSemaphoreEx&) = delete;
  CSemaphoreEx& operator=(const CSemaphoreEx&) = delete;

  /// Starts anew with a count of 0; a ceiling below 1 becomes 1. Result: 0 or -1.
  std::int32_t init(std::int32_t ceiling);
  /// `init` with the ceiling held. Result: 0 or -1.
  std::int32_t reinit();
  /// Result: 0, also when the ceiling was reached; -1 not initialised; -2 the system refused.
  std::int32_t post();
  /// Blocks without limit. Result: 0; -1 not initialised; -2 failed, also when a signal came in between.
  std::int32_t wait();
  /// Result: 0; -1 not initialised; -2 nothing to take.
  std::int32_t tryWait();
  /// Blocks for at most `ms` milliseconds of the monotonic clock.
  /// Result: 0; -1 not initialised; -2 no clock; -3 time-out or failed, also when a signal came in between.
  std::int32_t waitFor(std::int32_t ms);
  /// Result: 0.
  std::int32_t destroy();
  bool isInvalid() const;

 private:
  std::int32_t ceiling_ = 1;
  sem_t semaphore_;
  bool initialised_ = false;
};

}  // namespace cbl
