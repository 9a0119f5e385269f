#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <unordered_map>

#include "io/timer_queue.h"
#include "io/timers.h"

namespace io {

/// Waits for descriptors, timers and signals and calls their handlers, one after the other, on the thread that runs it.
/// A turn takes what the descriptors have, then the timers that are due; timers that are long overdue wait, for some
/// turns, until the descriptors have nothing more. Handlers may watch, unwatch, set and cancel anything, themselves
/// included. What a handler throws ends `run`.
class CEventLoop : public CTimers {
 public:
  using EventHandler = std::function<void(std::uint32_t events)>;  ///< EPOLLIN and so on, as they have come
  using SignalHandler = std::function<void(int signal)>;

  CEventLoop();  ///< throws std::system_error when the kernel gives no epoll instance
  ~CEventLoop() override;
  CEventLoop(const CEventLoop&) = delete;
  CEventLoop& operator=(const CEventLoop&) = delete;

  /// Within a turn the time at which it began: a request asks a dozen times, and the clock takes its time, too.
  TimePoint now() const override { return turn_ ? *turn_ : Clock::now(); }
  CTimer at(TimePoint time, std::function<void()> callback) override { return timers_.add(time, std::move(callback)); }

  /// Calls `handler` in each turn in which `descriptor` has any of `events`, an error or a hang-up.
  /// Result: false with errno when the kernel refuses.
  [[nodiscard]] bool watch(int descriptor, std::uint32_t events, EventHandler handler);
  [[nodiscard]] bool change(int descriptor, std::uint32_t events);
  /// To be called before `descriptor` is closed. One that is not watched is fine.
  void unwatch(int descriptor);

  /// From here on these signals come to `handler` only, for the rest of the process; to be called before other threads
  /// are started. Throws std::system_error.
  void onSignals(std::initializer_list<int> signals, SignalHandler handler);

  /// Serves until `stop`. Result: its status. Throws std::system_error when waiting fails.
  int run();
  /// Ends `run` when the handler that calls it returns; no other handler is called.
  void stop(int status) { status_ = status; }

 private:
  struct Watch {
    std::uint32_t number;  // tells a descriptor from a later one of the same number
    std::shared_ptr<EventHandler> handler;
  };

  bool isCatchingUp(int events);
  int timeout() const;
  void handle(std::uint64_t tag, std::uint32_t events);
  bool control(int operation, int descriptor, std::uint32_t number, std::uint32_t events) const;

  int epoll_;
  int signals_ = -1;
  std::uint32_t nextNumber_ = 0;
  std::unordered_map<int, Watch> watches_;
  CTimerQueue timers_;
  std::optional<TimePoint> turn_;  // nothing while it waits
  int caughtUp_ = 0;               // turns whose timers had to wait, in a row
  std::optional<int> status_;
};

}  // namespace io
