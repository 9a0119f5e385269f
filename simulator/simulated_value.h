#pragma once

#include "plant/value.h"

namespace simulator {

/// The value that a point shows `seconds` after the start as long as nothing has written it: slow waves for REAL and
/// DOUBLE, counters for UDINT and UINT, a toggle for BOOL, a rotating text for STRING. Enumerated and raw points and
/// the properties that describe rather than measure (notify type, priority array, units) stand still.
plant::Value simulatedValue(const plant::Point& point, double seconds);

}  // namespace simulator
