#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "plant/project.h"

namespace plant {

using Words = std::vector<short>;  ///< 16-bit register words, the high word first

/// A typed value: BOOL; UDINT, UINT, enumerated and raw; REAL; DOUBLE; STRING.
using Value = std::variant<bool, std::uint32_t, float, double, std::string>;

/// Register words that hold `bytes` bytes: a byte alone takes a whole word.
std::size_t wordsFor(std::int32_t bytes);

/// Replaces `words` by those of `value` for a point of `size` bytes. REAL, DOUBLE and integers: high word first;
/// STRING: two characters a word, the first in the high byte, filled up with zero bytes. `value` must be of the point's
/// type and fit; of a text, what lies beyond `size` is cut.
void toWords(const Point& point, const Value& value, std::int32_t size, Words& words);

/// Reads the point's value out of `words`; words beyond its size are ignored, and a text ends at its first zero byte.
/// Result: false when the words are too few for the point's type (at least one for a STRING), when a BOOL's word is
/// neither 0 nor 1, or when an integer is beyond what its size holds (255 in one byte, 2^32-1 otherwise).
bool fromWords(const Point& point, const Words& words, Value& value);

/// Reads a value as a person writes it: true/false/1/0, decimal or 0x numbers, floating-point numbers, any text.
/// Result: false with `error` (one line, without the point's name) when the text is not of the point's type, is out of
/// its range, or is a text longer than `size` bytes.
bool parseValue(const Point& point, const std::string& text, std::int32_t size, Value& value, std::string& error);

/// The shortest text that `parseValue` turns back into the same value.
std::string toText(const Value& value);

}  // namespace plant
