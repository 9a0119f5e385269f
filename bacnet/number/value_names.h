#pragma once

#include <cstdint>

#include "bacnet/number/names.h"

namespace bacnet {

/// What the numbers that `property` of an object of `objectType` holds stand for, or the bits of its bit string; both
/// where the standard fixes them. nullptr otherwise.
const CNameTable* enumerationOf(std::uint16_t objectType, std::uint32_t property);
const CNameTable* bitsOf(std::uint32_t property);

/// Whether `property` is in the object's units, as its present value is: its limits, its slots, its increment.
bool isInItsUnits(std::uint32_t property);
/// Whether `property` holds a state of the object, as its present value does.
bool isState(std::uint32_t property);

}  // namespace bacnet
