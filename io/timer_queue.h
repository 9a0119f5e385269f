#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "io/timers.h"

namespace io {

/// Timers in the order in which they are due; what every kind of timers keeps its own in. Knows no clock. One thread.
class CTimerQueue {
 public:
  CTimerQueue();

  [[nodiscard]] CTimer add(TimePoint time, std::function<void()> callback);
  /// When the first timer is due, nothing without one.
  std::optional<TimePoint> first() const;
  /// Runs what is due at `now`, until `isOver` says so. What the callbacks add waits for the next call, whatever its
  /// time. The queue itself outlives the call.
  void runDue(TimePoint now, const std::function<bool()>& isOver);

 private:
  using Key = std::pair<TimePoint, std::uint64_t>;  // those of one time in the order of their numbers
  using Waiting = std::map<Key, std::function<void()>>;
  struct Entry;

  std::shared_ptr<Waiting> waiting_;  // the entries hold on to it weakly
  std::uint64_t next_ = 0;
};

}  // namespace io
