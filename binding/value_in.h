#pragma once

#include <cstdint>

#include "bacnet/codec/value.h"
#include "binding/result_codes.h"
#include "plant/project.h"
#include "plant/value.h"

namespace binding {

/// What a device answered, as a value of the point that was read with a register of `size` bytes. Result: kDone; kNull
/// for an empty one; kDoesNotFit for several values in one register, a text for a number, a bit beyond the last, an
/// integer out of range, NaN or infinity for an integer. `value` is untouched unless it is kDone.
ResultCode fromDevice(const bacnet::Values& answer, const plant::Point& point, std::int32_t size, plant::Value& value);

}  // namespace binding
