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

// Takes `count` octets from the front of `rest`; nothing where there are fewer.
std::optional<std::uint32_t> take(std::string_view& rest, std::size_t count) {
  if (rest.size() < count) return std::nullopt;
  const auto number = static_cast<std::uint32_t>(numberOf(rest.substr(0, count)));
  rest.remove_prefix(count);
  return number;
}

std::optional<std::uint32_t> takeExtendedLength(std::string_view& rest) {
  const auto length = take(rest, 1);
  if (length == kLengthIn2Octets) return take(rest, 2);
  if (length == kLengthIn4Octets) return take(rest, 4);
  return length;
}

}  // namespace

std::optional<Tag> parseTag(std::string_view bytes) {
  std::string_view rest = bytes;
  const auto first = take(rest, 1);
  if (!first) return std::nullopt;
  std::optional<std::uint32_t> number = *first >> 4;
  if (number == kExtendedNumber) number = take(rest, 1);
  if (!number || *number == kReservedNumber) return std::nullopt;

  Tag tag;
  tag.number = static_cast<std::uint8_t>(*number);
  const bool isContext = (*first & kContextBit) != 0;
  std::optional<std::uint32_t> length = *first & 7;
  if (*length == kOpening || *length == kClosing) {
    if (!isContext) return std::nullopt;
    tag.kind = *length == kOpening ? Tag::Kind::kOpening : Tag::Kind::kClosing;
    length = 0;
  } else {
    tag.kind = isContext ? Tag::Kind::kContext : Tag::Kind::kApplication;
    const bool isBoolean = !isContext && tag.number == static_cast<std::uint8_t>(ApplicationType::kBoolean);
    if (isBoolean && *length > 1) return std::nullopt;
    if (length == kExtendedLength) length = takeExtendedLength(rest);
    if (!length || (!isBoolean && *length > rest.size())) return std::nullopt;
  }
  tag.length = *length;
  tag.octets = bytes.size() - rest.size();
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
