#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <utility>

#include "bacnet/client/device_state.h"
#include "io/timers.h"

namespace bacnet {

/// What makes doubtful where the device is: its number at another place, another number at its own. Says each once in
/// the log.
class CWhereabouts {
 public:
  /// `probe` asks the device where it was last for a sign of life.
  CWhereabouts(io::CTimers& timers, const DeviceState& state, std::function<void()> probe)
      : timers_(timers), state_(state), probe_(std::move(probe)) {}

  /// Another device is at its address.
  void tellStranger(std::uint32_t id);

  /// It says to be at `elsewhere`: it is there now, or another one has its number. What is heard from the place where
  /// it was decides; if that is nothing, `moved` is called.
  void considerMove(const Station& elsewhere, std::function<void()> moved);
  /// It has been heard where it was.
  void endDoubt();
  /// It is where it has been found.
  void drop();

 private:
  io::CTimers& timers_;
  const DeviceState& state_;
  std::function<void()> probe_;
  std::set<std::uint32_t> strangers_;  // the other devices at its address that were told of
  std::set<Station> twins_;            // other places of its number that were told of
  std::optional<Station> doubtful_;    // it says to be there, while it may still be where it was
  io::CTimer doubt_;
};

}  // namespace bacnet
