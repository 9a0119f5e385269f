#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "io/timers.h"

namespace io {

/// Timers in the order in which they are due; what every kind of timers keeps its own in. Knows no clock. One thread.
class CTimerQueue {
 public:
  [[nodiscard]] CTimer add(TimePoint time, std::function<void()> callback);
  /// When the first timer is due, nothing without one.
  std::optional<TimePoint> first() const;
  /// Runs what is due at `now`, until `isOver` says so. What the callbacks add waits for the next call, whatever its
  /// time. The queue itself outlives the call.
  void runDue(TimePoint now, const std::function<bool()>& isOver);

 private:
  std::shared_ptr<WaitingTimers> waiting_ = std::make_shared<WaitingTimers>();
  std::uint64_t next_ = 0;
};

}  // namespace io
