#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "plant/check.h"
#include "plant/project.h"

namespace tool {

/// Something in which the project and its device do not agree, or may not.
struct Discrepancy {
  plant::Severity severity = plant::Severity::kError;
  std::string check;    ///< what was compared: device, batch, changes, object, property, index, read, type, write
  std::string problem;  ///< in one line
  std::string remedy;   ///< in one line
};

/// A point, and what its device has for it.
struct CheckedPoint {
  plant::Point point;
  std::optional<std::int32_t> code;  ///< that reading it answers, see docs/hmi-host.md; nothing: it was not asked
  std::string value;                 ///< as a host gets it; what the device has where that does not fit
  std::vector<std::string> flags;    ///< of the object's status flags those that are set
  std::string write;                 ///< see host/tool/live/writing.h; empty where it was not asked
  std::string changes;               ///< of a present value on a link with EnableSCOV: notified or polled
  std::vector<Discrepancy> discrepancies;
};

/// What a device says of itself; empty where it does not.
struct DeviceText {
  std::optional<std::uint32_t> instance;
  std::string address;
  std::string name;
  std::string vendor;
  std::string model;
  std::string firmware;
};

/// A link, and what its device has for it.
struct CheckedLink {
  std::int32_t number = 0;
  bool isReached = false;
  bool isWhole = false;  ///< every point was asked
  DeviceText device;
  std::vector<Discrepancy> discrepancies;  ///< of the link itself
  std::vector<CheckedPoint> points;
};

}  // namespace tool
