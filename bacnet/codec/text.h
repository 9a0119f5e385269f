#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "bacnet/codec/value.h"

namespace bacnet {

/// Character sets of a CharacterString that can be told apart; the others are taken as the bytes look.
namespace charset {
constexpr std::uint8_t kUtf8 = 0;
constexpr std::uint8_t kDbcs = 1;  ///< its bytes begin with two octets of code page
constexpr std::uint8_t kUcs4 = 3;
constexpr std::uint8_t kUcs2 = 4;
constexpr std::uint8_t kLatin1 = 5;
}  // namespace charset

bool isUtf8(std::string_view bytes);  ///< well-formed: no overlong forms, no surrogates

/// What it says, in UTF-8; never fails. Bytes that are not the UTF-8 they claim to be are taken as Latin-1, numbers
/// that are no character become U+FFFD, octets of half a character at the end are dropped.
std::string utf8Of(const CharacterString& text);

/// The text in that character set, of `kUtf8`, `kUcs4`, `kUcs2` and `kLatin1`. Nothing where the set has not all its
/// characters. A text that is no UTF-8 is taken as Latin-1.
std::optional<CharacterString> characterString(std::string_view text, std::uint8_t charset);
/// In UTF-8, which has all.
CharacterString characterString(std::string_view text);

/// The longest beginning of at most `octets` octets that ends with a whole character of UTF-8.
std::string_view cutAtCharacter(std::string_view utf8, std::size_t octets);

}  // namespace bacnet
