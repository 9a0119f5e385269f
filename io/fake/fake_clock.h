#pragma once

#include <functional>

#include "io/timer_queue.h"
#include "io/timers.h"

namespace io {

/// Timers whose time a test moves by hand. Starts an hour after the clock's own beginning.
class CFakeClock : public CTimers {
 public:
  TimePoint now() const override { return now_; }
  CTimer at(TimePoint time, std::function<void()> callback) override { return queue_.add(time, std::move(callback)); }

  /// Runs what comes due on the way, each at its time; what that sets in turn as well.
  void advance(Duration by);
  /// Goes from timer to timer until `condition` holds. Result: whether it did within `limit`; if not, all of that has
  /// passed.
  bool runUntil(const std::function<bool()>& condition, Duration limit);
  /// Runs what is due now, and what that sets for now.
  void settle() { advance(Duration::zero()); }

  /// Whether anything is waited for: a test that is over can tell a timer that was left behind.
  bool isIdle() const { return !queue_.first(); }

 private:
  TimePoint now_{std::chrono::hours(1)};
  CTimerQueue queue_;
};

}  // namespace io
