#pragma once

#include <cstdint>

#include "bacnet/number/datatype.h"

namespace bacnet {

enum class ObjectKind { kAnalog, kBinary, kMultiState, kPlain };

/// What the standard says of the present value of an object type.
struct PresentValueMeaning {
  std::uint16_t objectType;
  ObjectKind kind;  ///< analog ones have units, binary and multi-state ones texts of their states
  Datatype type;
  bool isCommandable;  ///< it may have a priority array; outputs do
};

/// nullptr where such an object has no present value of one primitive, or date and time, or is a maker's own.
const PresentValueMeaning* presentValueOf(std::uint16_t objectType);

}  // namespace bacnet
