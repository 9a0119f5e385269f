#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "bacnet/client/device_client.h"
#include "host/tool/network/device.h"
#include "plant/project.h"

namespace tool {

constexpr std::uint8_t kPriorities = 16;
constexpr std::uint8_t kReservedPriority = 6;  ///< minimum on and off times; no client's
constexpr std::uint8_t kOperatorPriority = 8;  ///< of a plain write

/// Who commands an object's present value.
struct Commands {
  std::array<bacnet::Value, kPriorities> slots;  ///< by priority, from 1 on; Null where nobody commands
  bacnet::Values relinquishDefault;
  bacnet::Values presentValue;

  /// The priority that counts; nothing where the relinquish default does.
  std::optional<std::uint8_t> active() const;
};

/// Who gave a slot its value, and when, in words; empty where the device does not tell.
struct Origin {
  std::string source;
  std::string time;
};
using Origins = std::array<Origin, kPriorities>;  ///< by priority, from 1 on

/// Why something was not done, in words for the user.
using Complaint = std::optional<std::string>;

/// What priority `priority` is meant for; empty for those left to the site.
std::string_view levelOf(std::uint8_t priority);

/// The object whose present value `point` is; slot n of the priority array stands for it, too. Throws CFailure (usage)
/// for any other property.
bacnet::ObjectId commandedObject(const plant::Point& point);

/// The priority of a point that is slot n of a priority array, otherwise that of a plain write. Throws CFailure (usage)
/// where that is none to write at.
std::uint8_t ownPriority(const plant::Point& point);

/// Each blocks as CDevice does. A complaint means that it was not done.
Complaint readCommands(CDevice& device, const bacnet::ObjectId& object, Commands& commands);
/// Empty where nobody commands, and throughout where the device does not tell.
Origins readOrigins(CDevice& device, const bacnet::ObjectId& object, const Commands& commands);
Complaint releaseAt(CDevice& device, const bacnet::ObjectId& object, std::uint8_t priority);
/// `text` is read as the type that the device's present value has; nothing is sent where it is none.
Complaint commandAt(CDevice& device, const bacnet::ObjectId& object, std::uint8_t priority, const std::string& text);

}  // namespace tool
