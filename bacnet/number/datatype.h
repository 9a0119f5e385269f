#pragma once

#include <cstdint>

namespace bacnet {

/// What a property, or an element of it, is made of. A primitive has the number of its application tag.
enum class Datatype : std::uint8_t {
  kBoolean = 1,
  kUnsigned = 2,
  kSigned = 3,
  kReal = 4,
  kDouble = 5,
  kOctetString = 6,
  kCharacterString = 7,
  kBitString = 8,
  kEnumerated = 9,
  kDate = 10,
  kTime = 11,
  kObjectId = 12,
  kDateTime,  ///< a date and a time, one behind the other
  kAny,       ///< one value of any type: a schedule's present value
};

}  // namespace bacnet
