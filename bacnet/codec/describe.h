#pragma once

#include <string>

#include "bacnet/codec/value.h"

namespace bacnet {

/// A value as a person reads it, in UTF-8:
///   numbers       shortest that reads back the same: 21.5, 1e+20, nan, -inf; Enumerated likewise
///   Boolean       true, false; Null is null
///   text          itself; octets in hexadecimal, 00ff; bit strings 0101, bit 0 first
///   Date          2027-03-09, `*` for any, other numbers as they are: *-13-32; with a weekday where the day is not
///                 given whole: *-*-* 5
///   Time          14:05:59.07, `*` for any
///   object        type,instance
///   constructed   {a,b}; context tags inside it, and unknown types, in hexadecimal
std::string describe(const Value& value);
/// Joined by commas.
std::string describe(const Values& values);

}  // namespace bacnet
