#pragma once

#include <cstdint>

namespace bacnet {

enum class ObjectKind { kAnalog, kBinary, kMultiState, kPlain };
enum class PresentValueType {
  kBoolean,
  kUnsigned,
  kSigned,
  kReal,
  kDouble,
  kOctets,
  kText,
  kBits,
  kEnumerated,
  kDate,
  kTime,
  kDateTime,
  kAny,  ///< left to the object: a schedule's
};

/// What the standard says of the present value of an object type.
struct PresentValueMeaning {
  std::uint16_t objectType;
  ObjectKind kind;  ///< analog ones have units, binary and multi-state ones texts of their states
  PresentValueType type;
  bool isCommandable;  ///< it may have a priority array; outputs do
};

/// nullptr where such an object has no present value of one primitive, or date and time, or is a maker's own.
const PresentValueMeaning* presentValueOf(std::uint16_t objectType);

}  // namespace bacnet
