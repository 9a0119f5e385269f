#include "plant/value.h"

#include <array>
#include <charconv>
#include <cstring>
#include <limits>
#include <type_traits>

namespace plant {

namespace {

constexpr int kWordBits = 16;

std::uint32_t largestInteger(std::int32_t bytes) {
  return bytes == 1 ? std::numeric_limits<std::uint8_t>::max() : std::numeric_limits<std::uint32_t>::max();
}

template <typename To, typename From>
To sameBits(From from) {
  static_assert(sizeof(To) == sizeof(From));
  To to;
  std::memcpy(&to, &from, sizeof(to));
  return to;
}

void splitBits(std::uint64_t bits, std::size_t count, Words& words) {
  words.resize(count);
  for (auto word = words.rbegin(); word != words.rend(); ++word, bits >>= kWordBits) *word = static_cast<short>(bits);
}

std::uint64_t joinBits(const Words& words, std::size_t count) {
  std::uint64_t bits = 0;
  for (std::size_t i = 0; i < count; ++i) bits = (bits << kWordBits) | static_cast<std::uint16_t>(words[i]);
  return bits;
}

void splitText(const std::string& text, std::size_t count, Words& words) {
  const auto byteAt = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0; };
  words.resize(count);
  for (std::size_t i = 0; i < count; ++i) words[i] = static_cast<short>((byteAt(2 * i) << 8) | byteAt(2 * i + 1));
}

std::string joinText(const Words& words) {
  std::string text;
  for (const short word : words) {
    text += static_cast<char>(static_cast<std::uint16_t>(word) >> 8);
    text += static_cast<char>(word);
  }
  return text.substr(0, text.find('\0'));
}

bool parseBool(const std::string& text, Value& value, std::string& error) {
  const bool isTrue = text == "true" || text == "1";
  if (!isTrue && text != "false" && text != "0") {
    error = "'" + text + "' is not true, false, 1 or 0";
    return false;
  }
  value = isTrue;
  return true;
}

template <typename Number, typename... Format>
bool parseWhole(std::string_view digits, const std::string& text, Number& number, std::string& error,
                Format... format) {
  const auto [end, failure] = std::from_chars(digits.data(), digits.data() + digits.size(), number, format...);
  if (failure == std::errc::result_out_of_range) {
    error = text + " is out of range";
    return false;
  }
  if (failure != std::errc() || end != digits.data() + digits.size()) {
    error = "'" + text + "' is not a number";
    return false;
  }
  return true;
}

bool parseInteger(const std::string& text, std::int32_t size, Value& value, std::string& error) {
  std::string_view digits = text;
  const bool isHex = digits.substr(0, 2) == "0x" || digits.substr(0, 2) == "0X";
  if (isHex) digits.remove_prefix(2);

  std::int64_t number = 0;
  if (!parseWhole(isHex && digits.substr(0, 1) == "-" ? "" : digits, text, number, error, isHex ? 16 : 10)) {
    double fraction = 0;
    std::string ignored;
    if (digits.find_first_of(".eE") != std::string_view::npos && parseWhole(digits, text, fraction, ignored))
      error = text + " is no whole number";
    return false;
  }
  if (number < 0 || number > largestInteger(size)) {
    error = text + " is out of range (0 to " + std::to_string(largestInteger(size)) + ")";
    return false;
  }
  value = static_cast<std::uint32_t>(number);
  return true;
}

template <typename Number>
bool parseFloating(const std::string& text, Value& value, std::string& error) {
  Number number = 0;
  if (!parseWhole(text, text, number, error)) return false;
  value = number;
  return true;
}

bool parseText(const std::string& text, std::int32_t size, Value& value, std::string& error) {
  if (text.size() > static_cast<std::size_t>(size)) {
    error = "the text has " + std::to_string(text.size()) + " bytes, there is room for " + std::to_string(size);
    return false;
  }
  value = text;
  return true;
}

template <typename Number>
std::string shortestText(Number number) {
  std::array<char, 32> text;
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

}  // namespace

std::size_t wordsFor(std::int32_t bytes) {
  return bytes <= 0 ? 0 : (static_cast<std::size_t>(bytes) + 1) / 2;
}

void toWords(const Point& point, const Value& value, std::int32_t size, Words& words) {
  const std::size_t count = wordsFor(size);
  switch (point.type) {
    case DataType::kBool:
      return splitBits(std::get<bool>(value) ? 1 : 0, count, words);
    case DataType::kReal:
      return splitBits(sameBits<std::uint32_t>(std::get<float>(value)), count, words);
    case DataType::kDouble:
      return splitBits(sameBits<std::uint64_t>(std::get<double>(value)), count, words);
    case DataType::kString:
      return splitText(std::get<std::string>(value), count, words);
    case DataType::kUdint:
    case DataType::kUint:
    case DataType::kEnumerated:
    case DataType::kRaw:
      break;
  }
  return splitBits(std::get<std::uint32_t>(value), count, words);
}

bool fromWords(const Point& point, const Words& words, Value& value) {
  const std::size_t count = wordsFor(point.size);
  if (words.size() < count) return false;

  if (point.type == DataType::kString) {
    value = joinText(words);
    return true;
  }

  const std::uint64_t bits = joinBits(words, count);
  switch (point.type) {
    case DataType::kBool:
      value = bits == 1;
      return bits <= 1;
    case DataType::kReal:
      value = sameBits<float>(static_cast<std::uint32_t>(bits));
      return true;
    case DataType::kDouble:
      value = sameBits<double>(bits);
      return true;
    default:
      value = static_cast<std::uint32_t>(bits);
      return bits <= largestInteger(point.size);
  }
}

bool parseValue(const Point& point, const std::string& text, std::int32_t size, Value& value, std::string& error) {
  switch (point.type) {
    case DataType::kBool:
      return parseBool(text, value, error);
    case DataType::kReal:
      return parseFloating<float>(text, value, error);
    case DataType::kDouble:
      return parseFloating<double>(text, value, error);
    case DataType::kString:
      return parseText(text, size, value, error);
    case DataType::kUdint:
    case DataType::kUint:
    case DataType::kEnumerated:
    case DataType::kRaw:
      break;
  }
  return parseInteger(text, size, value, error);
}

std::string toText(const Value& value) {
  return std::visit(
      [](const auto& held) -> std::string {
        using Held = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<Held, bool>)
          return held ? "true" : "false";
        else if constexpr (std::is_same_v<Held, std::string>)
          return held;
        else
          return shortestText(held);
      },
      value);
}

}  // namespace plant
