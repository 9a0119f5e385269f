#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "bacnet/client/device_client.h"
#include "bacnet/codec/tag.h"
#include "binding/result_codes.h"
#include "plant/project.h"

namespace binding {

/// What reading and writing a point means to the device.
struct PointPlan {
  bacnet::PropertyAddress read;
  bacnet::PropertyAddress write;           ///< slot n of a priority array is written as the present value at priority n
  std::optional<std::uint8_t> priority;    ///< of a write
  bool isRelease = false;                  ///< any write sends Null
  bool isPresentValue = false;             ///< and so may be subscribed to
  ResultCode refused = ResultCode::kDone;  ///< what any access answers without asking the device
  ResultCode writeRefused = ResultCode::kDone;  ///< what a write answers without asking the device
};

/// `defaultPriority` is for plain writes to the present value of a commandable object.
PointPlan planPoint(const plant::Point& point, std::uint8_t defaultPriority);

/// The property that a point names, whether or not there can be such a one.
bacnet::PropertyAddress addressOf(const plant::Point& point);

/// Bits of a BIT STRING that a number can hold.
constexpr std::size_t kIntegerBits = 64;

/// The type that a device takes for a property, by object type and property; nothing where only the device knows.
/// Element 0 of an array is the number of its elements.
std::optional<bacnet::ApplicationType> writtenType(bacnet::ObjectType object,
                                                   const bacnet::PropertyReference& reference);

}  // namespace binding
