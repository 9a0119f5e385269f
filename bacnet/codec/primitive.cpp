#include "bacnet/codec/primitive.h"

#include <cstring>

#include "bacnet/codec/octets.h"
#include "bacnet/codec/tag.h"

namespace bacnet {
namespace {

constexpr std::size_t kLongestInteger = 8;
constexpr std::uint32_t kInstanceBits = 22;

std::optional<Value> signedValue(std::string_view content) {
  if (content.empty() || content.size() > kLongestInteger) return std::nullopt;
  std::uint64_t number = numberOf(content);
  const bool isNegative = (octetAt(content, 0) & 0x80) != 0;
  if (isNegative && content.size() < kLongestInteger) number |= UINT64_MAX << (8 * content.size());
  std::int64_t value = 0;
  std::memcpy(&value, &number, sizeof value);
  return value;
}

template <class Float, class Bits>
std::optional<Value> floatValue(std::string_view content) {
  static_assert(sizeof(Float) == sizeof(Bits));
  if (content.size() != sizeof(Bits)) return std::nullopt;
  const auto bits = static_cast<Bits>(numberOf(content));
  Float value = 0;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

std::optional<Value> bitStringValue(std::string_view content) {
  if (content.empty()) return std::nullopt;
  const std::size_t unused = octetAt(content, 0);
  content.remove_prefix(1);
  if (unused > 7 || unused > 8 * content.size()) return std::nullopt;
  BitString value;
  value.bits.reserve(8 * content.size());
  for (std::size_t bit = 0; bit < 8 * content.size() - unused; ++bit) {
    value.bits.push_back((octetAt(content, bit / 8) >> (7 - bit % 8) & 1) != 0);
  }
  return value;
}

// A Date and a Time are four octets each.
template <class Four>
std::optional<Value> fourOctets(std::string_view content) {
  if (content.size() != 4) return std::nullopt;
  return Four{octetAt(content, 0), octetAt(content, 1), octetAt(content, 2), octetAt(content, 3)};
}

}  // namespace

std::optional<std::uint64_t> unsignedIn(std::string_view content, std::uint64_t largest) {
  if (content.empty() || content.size() > kLongestInteger) return std::nullopt;
  const std::uint64_t number = numberOf(content);
  if (number > largest) return std::nullopt;
  return number;
}

std::optional<ObjectId> objectIdIn(std::string_view content) {
  if (content.size() != 4) return std::nullopt;
  const auto number = static_cast<std::uint32_t>(numberOf(content));
  return ObjectId{static_cast<ObjectType>(number >> kInstanceBits), number & kLargestInstance};
}

std::optional<Value> primitiveIn(std::uint8_t type, std::string_view content) {
  switch (static_cast<ApplicationType>(type)) {
    case ApplicationType::kNull:
      if (!content.empty()) return std::nullopt;
      return Null{};
    case ApplicationType::kBoolean:
      return std::nullopt;
    case ApplicationType::kUnsigned:
      if (const auto number = unsignedIn(content)) return *number;
      return std::nullopt;
    case ApplicationType::kSigned:
      return signedValue(content);
    case ApplicationType::kReal:
      return floatValue<float, std::uint32_t>(content);
    case ApplicationType::kDouble:
      return floatValue<double, std::uint64_t>(content);
    case ApplicationType::kOctetString:
      return OctetString{std::string(content)};
    case ApplicationType::kCharacterString:
      if (content.empty()) return std::nullopt;
      return CharacterString{octetAt(content, 0), std::string(content.substr(1))};
    case ApplicationType::kBitString:
      return bitStringValue(content);
    case ApplicationType::kEnumerated:
      if (const auto number = unsignedIn(content, UINT32_MAX)) return Enumerated{static_cast<std::uint32_t>(*number)};
      return std::nullopt;
    case ApplicationType::kDate:
      return fourOctets<Date>(content);
    case ApplicationType::kTime:
      return fourOctets<Time>(content);
    case ApplicationType::kObjectId:
      if (const auto object = objectIdIn(content)) return *object;
      return std::nullopt;
  }
  return UnknownPrimitive{type, std::string(content)};
}

std::size_t unsignedOctets(std::uint64_t number) {
  std::size_t octets = 1;
  while (octets < kLongestInteger && number >> (8 * octets) != 0) ++octets;
  return octets;
}

std::size_t signedOctets(std::int64_t number) {
  const std::int64_t magnitude = number < 0 ? ~number : number;
  std::size_t octets = 1;
  while (octets < kLongestInteger && magnitude >> (8 * octets - 1) != 0) ++octets;
  return octets;
}

std::uint32_t objectIdNumber(const ObjectId& object) {
  return std::uint32_t{object.type} << kInstanceBits | (object.instance & kLargestInstance);
}

}  // namespace bacnet
