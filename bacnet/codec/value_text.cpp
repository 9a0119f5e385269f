#include "bacnet/codec/value_text.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string>

#include "bacnet/codec/text.h"

namespace bacnet {

namespace {

constexpr std::uint8_t kAny = 255;
constexpr unsigned kFirstYear = 1900;

template <typename Number>
std::optional<Number> number(std::string_view text) {
  Number value{};
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (failure != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

template <typename Number>
std::optional<Value> wrapped(const std::optional<Number>& value) {
  if (!value) return std::nullopt;
  return Value(*value);
}

std::optional<Value> boolean(std::string_view text) {
  if (text == "true" || text == "1") return Value(true);
  if (text == "false" || text == "0") return Value(false);
  return std::nullopt;
}

std::optional<Value> octets(std::string_view text) {
  OctetString value;
  if (text.size() % 2 != 0) return std::nullopt;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    std::uint8_t octet = 0;
    const char* const end = text.data() + i + 2;
    const auto read = std::from_chars(text.data() + i, end, octet, 16);
    if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
    value.bytes += static_cast<char>(octet);
  }
  return Value(value);
}

std::optional<Value> bits(std::string_view text) {
  BitString value;
  for (const char each : text) {
    if (each != '0' && each != '1') return std::nullopt;
    value.bits.push_back(each == '1');
  }
  return Value(value);
}

std::optional<std::uint8_t> field(std::string_view text) {
  return text == "*" ? kAny : number<std::uint8_t>(text);
}

// Cuts off what stands before `separator`, or all of it.
std::string_view cutBefore(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return part;
}

std::optional<std::uint8_t> yearField(std::string_view text) {
  if (text == "*") return kAny;
  const auto year = number<unsigned>(text);
  if (!year || *year < kFirstYear || *year >= kFirstYear + kAny) return std::nullopt;
  return static_cast<std::uint8_t>(*year - kFirstYear);
}

// Of one day the weekday follows, and a device may refuse a date value that leaves it open. `kAny` where it is not one.
std::uint8_t weekdayOf(std::uint8_t yearField, std::uint8_t month, std::uint8_t day) {
  if (yearField == kAny || month < 1 || month > 12 || day < 1 || day > 31) return kAny;
  // January and February count with the year before.
  constexpr std::array<unsigned, 12> kMonthShift = {0, 3, 2, 5, 0, 3, 5, 1, 4, 6, 2, 4};
  const unsigned year = kFirstYear + yearField - (month < 3 ? 1U : 0U);
  const unsigned sinceSunday = (year + year / 4 - year / 100 + year / 400 + kMonthShift[month - 1] + day) % 7;
  return static_cast<std::uint8_t>(sinceSunday == 0 ? 7 : sinceSunday);
}

std::optional<Value> date(std::string_view text) {
  const auto year = yearField(cutBefore(text, '-'));
  const auto month = field(cutBefore(text, '-'));
  const auto day = field(cutBefore(text, ' '));
  if (!year || !month || !day) return std::nullopt;
  const auto weekday = text.empty() ? weekdayOf(*year, *month, *day) : field(text);
  if (!weekday) return std::nullopt;
  return Value(Date{*year, *month, *day, *weekday});
}

std::optional<Value> time(std::string_view text) {
  const auto hour = field(cutBefore(text, ':'));
  const auto minute = field(cutBefore(text, ':'));
  const auto second = field(cutBefore(text, '.'));
  const auto hundredth = text.empty() ? std::optional<std::uint8_t>(0) : field(text);
  if (!hour || !minute || !second || !hundredth) return std::nullopt;
  return Value(Time{*hour, *minute, *second, *hundredth});
}

std::optional<Value> object(std::string_view text) {
  constexpr std::uint16_t kLargestType = 1023;
  const auto type = number<std::uint16_t>(cutBefore(text, ','));
  const auto instance = number<std::uint32_t>(text);
  if (!type || !instance || *type > kLargestType || *instance > kLargestInstance) return std::nullopt;
  return Value(ObjectId{*type, *instance});
}

}  // namespace

std::optional<ApplicationType> typeOf(const Values& values) {
  constexpr auto kLast = static_cast<std::size_t>(ApplicationType::kObjectId);  // the variant is in the types' order
  if (values.size() != 1 || values.front().index() > kLast || std::holds_alternative<Null>(values.front())) {
    return std::nullopt;
  }
  return static_cast<ApplicationType>(values.front().index());
}

std::optional<Value> valueOf(std::string_view text, ApplicationType type) {
  switch (type) {
    case ApplicationType::kNull:
      return text == "null" ? std::optional<Value>(Null{}) : std::nullopt;
    case ApplicationType::kBoolean:
      return boolean(text);
    case ApplicationType::kUnsigned:
      return wrapped(number<std::uint64_t>(text));
    case ApplicationType::kSigned:
      return wrapped(number<std::int64_t>(text));
    case ApplicationType::kReal:
      return wrapped(number<float>(text));
    case ApplicationType::kDouble:
      return wrapped(number<double>(text));
    case ApplicationType::kOctetString:
      return octets(text);
    case ApplicationType::kCharacterString:
      return Value(characterString(text));
    case ApplicationType::kBitString:
      return bits(text);
    case ApplicationType::kEnumerated:
      if (const auto value = number<std::uint32_t>(text)) return Value(Enumerated{*value});
      return std::nullopt;
    case ApplicationType::kDate:
      return date(text);
    case ApplicationType::kTime:
      return time(text);
    case ApplicationType::kObjectId:
      return object(text);
  }
  return std::nullopt;
}

}  // namespace bacnet
