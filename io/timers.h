#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "io/clock.h"

namespace io {

/// One thing to be done at a time. Destroying or replacing it before then cancels it; doing so from within its own
/// callback is fine. Outliving the timers it came from is fine, too.
class CTimer {
 public:
  /// What a kind of timers keeps for one of its own; destroying it cancels.
  struct Entry {
    virtual ~Entry() = default;
  };

  CTimer() = default;
  explicit CTimer(std::unique_ptr<Entry> entry) : entry_(std::move(entry)) {}

  void cancel() { entry_.reset(); }
  explicit operator bool() const { return entry_ != nullptr; }  ///< set and not cancelled; stays true once it is done

 private:
  std::unique_ptr<Entry> entry_;
};

/// A clock and what is to be done when. Callbacks come on the thread of the loop, in the order of their times, those of
/// one time in the order in which they were set, never from within `at`.
class CTimers {
 public:
  virtual ~CTimers() = default;

  virtual TimePoint now() const = 0;
  /// A time that has passed means as soon as the loop goes on. A dropped result cancels at once.
  [[nodiscard]] virtual CTimer at(TimePoint time, std::function<void()> callback) = 0;

  [[nodiscard]] CTimer after(Duration delay, std::function<void()> callback) {
    return at(now() + delay, std::move(callback));
  }
};

}  // namespace io
