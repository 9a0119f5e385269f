#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "bacnet/codec/value.h"
#include "host/tool/live/checked_link.h"

namespace tool {

/// A device's value in the hands of a point.
struct TypeFit {
  std::int32_t code = 0;  ///< as the helper answers it
  std::string value;
  std::optional<Discrepancy> discrepancy;
};

/// Compares `values` with the point's data type: whether it holds them, whether something of them is lost, and whether
/// they are what the standard has there. A STRING is taken as long enough: a register's length is the host's.
TypeFit fitOf(const plant::Point& point, const bacnet::Values& values);

}  // namespace tool
