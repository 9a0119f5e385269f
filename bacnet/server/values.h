#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "bacnet/codec/value.h"
#include "bacnet/number/datatype.h"

namespace bacnet::server {

/// Whether `values` are exactly one content of the type: a device takes no other type in its place, not even one that
/// could be converted.
bool isOf(Datatype datatype, const Values& values);

/// A number that has a range: of an Unsigned, Signed, Real, Double or Enumerated.
std::optional<double> numberOf(const Value& value);

CharacterString text(std::string_view utf8);
bool isNull(const Values& values);

}  // namespace bacnet::server
