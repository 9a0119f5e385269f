#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bacnet/server/device.h"
#include "device/fault_rule.h"

namespace device {

/// What a behaviour file says; without one, a device in the best of health.
struct Behaviour {
  std::uint32_t seed = 1;
  std::optional<std::uint32_t> deviceId;  ///< another than it was started with
  bacnet::server::Abilities abilities;
  bool restarts = false;  ///< when the file is read
  bool standsStill = false;
  std::vector<FaultRule> faults;
};

/// Reads the text of a behaviour file. Result: false with a one-line `error` that names what is wrong, and where;
/// `behaviour` is then untouched.
bool readBehaviour(const std::string& text, Behaviour& behaviour, std::string& error);

}  // namespace device
