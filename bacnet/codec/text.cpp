#include "bacnet/codec/text.h"

#include "bacnet/codec/octets.h"

namespace bacnet {
namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;
constexpr std::uint32_t kLastCharacter = 0x10FFFF;

bool isSurrogate(std::uint32_t unit) {
  return unit >= 0xD800 && unit <= 0xDFFF;
}

void appendUtf8(std::string& out, std::uint32_t character) {
  if (character > kLastCharacter || isSurrogate(character)) character = kReplacement;
  if (character < 0x80) {
    out += static_cast<char>(character);
    return;
  }
  const int more = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
  const std::uint32_t lead = more == 1 ? 0xC0 : more == 2 ? 0xE0 : 0xF0;
  out += static_cast<char>(lead | character >> (6 * more));
  for (int left = more - 1; left >= 0; --left) out += static_cast<char>(0x80 | (character >> (6 * left) & 0x3F));
}

// Takes one character from the front of `rest`; nothing, and `rest` as it was, where it does not begin with one.
std::optional<std::uint32_t> takeUtf8(std::string_view& rest) {
  const std::uint8_t lead = octetAt(rest, 0);
  const std::size_t octets = lead < 0x80   ? 1
                             : lead < 0xC2 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF5 ? 4
                                           : 0;
  if (octets == 0 || rest.size() < octets) return std::nullopt;
  std::uint32_t character = octets == 1 ? lead : lead & (0x7FU >> octets);
  for (std::size_t i = 1; i < octets; ++i) {
    if ((octetAt(rest, i) & 0xC0) != 0x80) return std::nullopt;
    character = character << 6 | (octetAt(rest, i) & 0x3FU);
  }
  const bool isOverlong = (octets == 3 && character < 0x800) || (octets == 4 && character < 0x10000);
  if (isOverlong || isSurrogate(character) || character > kLastCharacter) return std::nullopt;
  rest.remove_prefix(octets);
  return character;
}

std::string fromLatin1(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) appendUtf8(out, octetAt(bytes, i));
  return out;
}

std::string fromUcs4(std::string_view bytes) {
  std::string out;
  for (; bytes.size() >= 4; bytes.remove_prefix(4)) {
    appendUtf8(out, static_cast<std::uint32_t>(numberOf(bytes.substr(0, 4))));
  }
  return out;
}

// UCS-2 knows no surrogates; senders that use them mean the pair.
std::string fromUcs2(std::string_view bytes) {
  std::string out;
  for (; bytes.size() >= 2; bytes.remove_prefix(2)) {
    auto character = static_cast<std::uint32_t>(numberOf(bytes.substr(0, 2)));
    if (character >= 0xD800 && character < 0xDC00 && bytes.size() >= 4) {
      const auto low = static_cast<std::uint32_t>(numberOf(bytes.substr(2, 2)));
      if (low >= 0xDC00 && low < 0xE000) {
        character = 0x10000 + ((character - 0xD800) << 10 | (low - 0xDC00));
        bytes.remove_prefix(2);
      }
    }
    appendUtf8(out, character);
  }
  return out;
}

std::string asTheyLook(std::string_view bytes) {
  return isUtf8(bytes) ? std::string(bytes) : fromLatin1(bytes);
}

}  // namespace

bool isUtf8(std::string_view bytes) {
  while (!bytes.empty()) {
    if (!takeUtf8(bytes)) return false;
  }
  return true;
}

std::string utf8Of(const CharacterString& text) {
  switch (text.charset) {
    case charset::kUcs4:
      return fromUcs4(text.bytes);
    case charset::kUcs2:
      return fromUcs2(text.bytes);
    case charset::kLatin1:
      return fromLatin1(text.bytes);
    case charset::kDbcs:
      return asTheyLook(std::string_view(text.bytes).substr(text.bytes.size() < 2 ? text.bytes.size() : 2));
    default:
      return asTheyLook(text.bytes);
  }
}

CharacterString characterString(std::string_view text) {
  return {charset::kUtf8, asTheyLook(text)};
}

std::optional<CharacterString> characterString(std::string_view text, std::uint8_t charset) {
  CharacterString result = characterString(text);
  if (charset == charset::kUtf8) return result;
  const std::size_t octets = charset == charset::kUcs4 ? 4 : charset == charset::kUcs2 ? 2 : 1;
  if (octets == 1 && charset != charset::kLatin1) return std::nullopt;
  const std::string utf8 = std::move(result.bytes);
  result = {charset, {}};
  for (std::string_view rest = utf8; !rest.empty();) {
    const auto character = takeUtf8(rest);
    if (!character || (octets < 4 && *character >> (8 * octets) != 0)) return std::nullopt;
    appendNumber(result.bytes, *character, octets);
  }
  return result;
}

std::string_view cutAtCharacter(std::string_view utf8, std::size_t octets) {
  if (utf8.size() <= octets) return utf8;
  while (octets > 0 && (octetAt(utf8, octets) & 0xC0) == 0x80) --octets;
  return utf8.substr(0, octets);
}

}  // namespace bacnet
