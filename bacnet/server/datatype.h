#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "bacnet/codec/value.h"

namespace bacnet::server {

/// What a property, or an element of it, is made of.
enum class Datatype {
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
  kDateTime,  ///< a date and a time, one behind the other
  kObjectId,
  kAny,  ///< one value of any type
};

/// Whether `values` are exactly one content of the type: a device takes no other type in its place, not even one that
/// could be converted.
bool isOf(Datatype datatype, const Values& values);

/// A number that has a range: of an Unsigned, Signed, Real, Double or Enumerated.
std::optional<double> numberOf(const Value& value);

CharacterString text(std::string_view utf8);
bool isNull(const Values& values);

}  // namespace bacnet::server
