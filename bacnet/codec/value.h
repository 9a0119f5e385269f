#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <variant>
#include <vector>

namespace bacnet {

/// An object type or property may be any number, proprietary ones included; the standard's are named in bacnet/number.
using ObjectType = std::uint16_t;  // 10 bits
using PropertyId = std::uint32_t;  // 22 bits
using ArrayIndex = std::uint32_t;  // 0 is the number of elements

constexpr std::uint32_t kLargestInstance = 4194303;  // 22 bits; as a device's instance it means "whoever is asked"

struct ObjectId {
  ObjectType type = 0;
  std::uint32_t instance = 0;

  friend bool operator==(const ObjectId& a, const ObjectId& b) { return a.type == b.type && a.instance == b.instance; }
  friend bool operator!=(const ObjectId& a, const ObjectId& b) { return !(a == b); }
  friend bool operator<(const ObjectId& a, const ObjectId& b) {
    return std::tie(a.type, a.instance) < std::tie(b.type, b.instance);
  }
};

/// One property of an object, or one element of it.
struct PropertyReference {
  PropertyId property = 0;
  std::optional<ArrayIndex> index;

  friend bool operator==(const PropertyReference& a, const PropertyReference& b) {
    return a.property == b.property && a.index == b.index;
  }
  friend bool operator<(const PropertyReference& a, const PropertyReference& b) {
    return std::tie(a.property, a.index) < std::tie(b.property, b.index);
  }
};

struct Null {};

struct OctetString {
  std::string bytes;
};

/// The bytes as they travel; bacnet/codec/text.h turns them into UTF-8 and back.
struct CharacterString {
  std::uint8_t charset = 0;  ///< 0 UTF-8, 3 UCS-4, 4 UCS-2, 5 Latin-1
  std::string bytes;
};

struct BitString {
  std::vector<bool> bits;  ///< bit 0 first
};

struct Enumerated {
  std::uint32_t number = 0;
};

/// 255 in a field is "any"; odd and even months, the last day and so on are other numbers above the usual.
struct Date {
  std::uint8_t year = 255;  ///< since 1900
  std::uint8_t month = 255;
  std::uint8_t day = 255;
  std::uint8_t weekday = 255;  ///< 1 is Monday
};

struct Time {
  std::uint8_t hour = 255;
  std::uint8_t minute = 255;
  std::uint8_t second = 255;
  std::uint8_t hundredth = 255;
};

struct Constructed;
/// A context tag with bytes whose type only the surroundings tell.
struct ContextPrimitive {
  std::uint8_t tag = 0;
  std::string bytes;
};
/// An application tag of a type that the standard has not given out (13 to 15), kept as it came.
struct UnknownPrimitive {
  std::uint8_t tag = 0;
  std::string bytes;
};

/// One value as it travels: a primitive of the application types, Unsigned being std::uint64_t and Signed std::int64_t,
/// or something in a context tag. A property's content is a list of them: an array or list has several, or none.
using Value =
    std::variant<Null, bool, std::uint64_t, std::int64_t, float, double, OctetString, CharacterString, BitString,
                 Enumerated, Date, Time, ObjectId, ContextPrimitive, UnknownPrimitive, Constructed>;
using Values = std::vector<Value>;

/// What stands between an opening and a closing tag.
struct Constructed {
  std::uint8_t tag = 0;
  Values items;
};

bool operator==(const Null& a, const Null& b);
bool operator==(const OctetString& a, const OctetString& b);
bool operator==(const CharacterString& a, const CharacterString& b);
bool operator==(const BitString& a, const BitString& b);
bool operator==(const Enumerated& a, const Enumerated& b);
bool operator==(const Date& a, const Date& b);
bool operator==(const Time& a, const Time& b);
bool operator==(const ContextPrimitive& a, const ContextPrimitive& b);
bool operator==(const UnknownPrimitive& a, const UnknownPrimitive& b);
bool operator==(const Constructed& a, const Constructed& b);

/// Values in a row, as they stand inside a service. Nothing where a tag is cut, open at the end, nested too deeply, or
/// its content is none of its type.
std::string encode(const Values& values);
std::optional<Values> parseValues(std::string_view bytes);

}  // namespace bacnet
