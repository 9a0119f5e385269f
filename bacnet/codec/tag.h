#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "bacnet/number/datatype.h"

namespace bacnet {

/// What stands before each value, clause 20.2.1.
struct Tag {
  enum class Kind : std::uint8_t { kApplication, kContext, kOpening, kClosing };
  Kind kind = Kind::kApplication;
  std::uint8_t number = 0;   ///< of an application tag the type, ApplicationType; 0 to 254
  std::uint32_t length = 0;  ///< octets of content; an application Boolean has none, and its value here
  std::size_t octets = 0;    ///< of the tag itself
};

/// The numbers of the application types.
enum class ApplicationType : std::uint8_t {
  kNull = 0,
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
};

/// Nothing for a type that is not one primitive.
constexpr std::optional<ApplicationType> applicationTypeOf(Datatype datatype) {
  if (datatype > Datatype::kObjectId) return std::nullopt;
  return static_cast<ApplicationType>(datatype);
}

/// The tag that `bytes` begin with. Nothing where it is cut or none, or where its content is not all there.
std::optional<Tag> parseTag(std::string_view bytes);

/// Appends a tag in the shortest form there is.
void appendTag(std::string& out, Tag::Kind kind, std::uint8_t number, std::size_t length);

}  // namespace bacnet
