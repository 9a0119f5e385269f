#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

#include "io/clock.h"

namespace io {

/// What is to be done, in the order of time; what is for one time in the order of its numbers.
using TimerKey = std::pair<TimePoint, std::uint64_t>;
using WaitingTimers = std::map<TimerKey, std::function<void()>>;

/// One thing to be done at a time. Destroying or replacing it before then cancels it; doing so from within its own
/// callback is fine. Outliving the timers it came from is fine, too.
class CTimer {
 public:
  CTimer() = default;
  /// For what keeps timers: the one under `key`, while `waiting` lives.
  CTimer(std::weak_ptr<WaitingTimers> waiting, const TimerKey& key) : waiting_(std::move(waiting)), key_(key) {}
  CTimer(CTimer&& other) noexcept = default;
  CTimer& operator=(CTimer&& other) noexcept {
    const CTimer before(std::move(*this));
    waiting_ = std::move(other.waiting_);
    key_ = other.key_;
    return *this;
  }
  ~CTimer() { cancel(); }

  void cancel() {
    // Taken out before it is destroyed: what the callback owns may hold other timers, or this one.
    if (const auto waiting = std::exchange(waiting_, {}).lock()) const auto removed = waiting->extract(key_);
  }
  explicit operator bool() const { return !waiting_.expired(); }  ///< set and not cancelled; stays true once it is done

 private:
  std::weak_ptr<WaitingTimers> waiting_;
  TimerKey key_;
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
