#include "bacnet/codec/tag.h"

#include "bacnet/codec/octets.h"

namespace bacnet {
namespace {

constexpr std::uint8_t kContextBit = 0x08;
constexpr std::uint8_t kExtendedNumber = 15;
constexpr std::uint8_t kReservedNumber = 255;
constexpr std::uint32_t kExtendedLength = 5;
constexpr std::uint32_t kOpening = 6;
constexpr std::uint32_t kClosing = 7;
constexpr std::uint32_t kLengthIn2Octets = 254;
constexpr std::uint32_t kLengthIn4Octets = 255;

std::uint32_t numberIn(COctets& in, int octets) {
  std::uint32_t number = 0;
  for (; octets > 0; --octets) number = number << 8 | in.next();
  return number;
}

std::uint32_t extendedLength(COctets& in) {
  const std::uint8_t length = in.next();
  if (length == kLengthIn2Octets) return numberIn(in, 2);
  return length == kLengthIn4Octets ? numberIn(in, 4) : length;
}

}  // namespace

std::optional<Tag> parseTag(std::string_view bytes) {
  COctets in(bytes);
  const std::uint8_t first = in.next();
  Tag tag;
  tag.number = first >> 4;
  if (tag.number == kExtendedNumber) tag.number = in.next();
  if (tag.number == kReservedNumber) return std::nullopt;

  const bool isContext = (first & kContextBit) != 0;
  tag.length = first & 7;
  if (tag.length == kOpening || tag.length == kClosing) {
    if (!isContext) return std::nullopt;
    tag.kind = tag.length == kOpening ? Tag::Kind::kOpening : Tag::Kind::kClosing;
    tag.length = 0;
  } else {
    tag.kind = isContext ? Tag::Kind::kContext : Tag::Kind::kApplication;
    const bool isBoolean = !isContext && tag.number == static_cast<std::uint8_t>(ApplicationType::kBoolean);
    if (isBoolean && tag.length > 1) return std::nullopt;
    if (tag.length == kExtendedLength) tag.length = extendedLength(in);
    if (!isBoolean && tag.length > in.rest().size()) return std::nullopt;
  }
  if (in.isCut()) return std::nullopt;
  tag.octets = bytes.size() - in.rest().size();
  return tag;
}

void appendTag(std::string& out, Tag::Kind kind, std::uint8_t number, std::size_t length) {
  std::size_t low = length < kExtendedLength ? length : kExtendedLength;
  if (kind == Tag::Kind::kOpening) low = kOpening;
  if (kind == Tag::Kind::kClosing) low = kClosing;
  const std::uint8_t contextBit = kind == Tag::Kind::kApplication ? 0 : kContextBit;
  const std::uint8_t high = number < kExtendedNumber ? number : kExtendedNumber;
  out += static_cast<char>(high * 16U + contextBit + low);
  if (high == kExtendedNumber) out += static_cast<char>(number);
  if (low != kExtendedLength) return;
  if (length < kLengthIn2Octets) {
    appendNumber(out, length, 1);
  } else if (length <= 0xFFFF) {
    appendNumber(out, kLengthIn2Octets, 1);
    appendNumber(out, length, 2);
  } else {
    appendNumber(out, kLengthIn4Octets, 1);
    appendNumber(out, length, 4);
  }
}

}  // namespace bacnet
