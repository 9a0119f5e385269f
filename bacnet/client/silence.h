#pragma once

#include <functional>

#include "io/timers.h"

namespace bacnet {

/// Whether a device answers, and when it is probed while it does not: after 1, 2, 4, 8, 16 and then every 30 s, or
/// every 8 s while somebody wants something of it: who waits for a device is not to wait long for its return.
class CSilence {
 public:
  /// `probe` asks the device for something small; `lasts` says once each time that the first probe was not answered:
  /// it was more than one request that got lost.
  CSilence(io::CTimers& timers, std::function<void()> probe, std::function<void()> lasts);

  enum class Ended {
    kWasNone,
    kAtOnce,  ///< before or by the first probe
    kLater,
  };

  void begin();   ///< nothing if it has begun
  void wanted();  ///< somebody asks for the device just now
  Ended end();
  bool isOn() const { return static_cast<bool>(timer_); }

 private:
  void tick();
  void setDue(io::TimePoint due);

  io::CTimers& timers_;
  std::function<void()> probe_;
  std::function<void()> lasts_;
  int probes_ = 0;
  io::Duration wait_{};
  io::TimePoint last_{};  // probe
  io::TimePoint due_{};
  io::CTimer timer_;
};

}  // namespace bacnet
