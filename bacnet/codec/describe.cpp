#include "bacnet/codec/describe.h"

#include <charconv>
#include <string_view>
#include <variant>

#include "bacnet/codec/octets.h"
#include "bacnet/codec/text.h"

namespace bacnet {
namespace {

constexpr std::uint8_t kAny = 255;

template <class Number>
std::string numberText(Number number) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

std::string hexText(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  text.reserve(2 * bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    text += kDigits[octetAt(bytes, i) >> 4];
    text += kDigits[octetAt(bytes, i) & 15];
  }
  return text;
}

// Two digits, or more where the number has them.
std::string fieldText(std::uint8_t field) {
  if (field == kAny) return "*";
  return (field < 10 ? "0" : "") + numberText(unsigned{field});
}

struct Describer {
  std::string operator()(const Null&) const { return "null"; }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::uint64_t value) const { return numberText(value); }
  std::string operator()(std::int64_t value) const { return numberText(value); }
  std::string operator()(float value) const { return numberText(value); }
  std::string operator()(double value) const { return numberText(value); }
  std::string operator()(const OctetString& value) const { return hexText(value.bytes); }
  std::string operator()(const CharacterString& value) const { return utf8Of(value); }
  std::string operator()(const BitString& value) const {
    std::string text;
    for (const bool bit : value.bits) text += bit ? '1' : '0';
    return text;
  }
  std::string operator()(const Enumerated& value) const { return numberText(value.number); }
  std::string operator()(const Date& date) const {
    const std::string year = date.year == kAny ? "*" : numberText(1900U + date.year);
    std::string text = year + "-" + fieldText(date.month) + "-" + fieldText(date.day);
    const bool isOneDay = date.year != kAny && date.month <= 12 && date.day <= 31;
    if (!isOneDay && date.weekday != kAny) text += " " + numberText(unsigned{date.weekday});
    return text;
  }
  std::string operator()(const Time& time) const {
    return fieldText(time.hour) + ":" + fieldText(time.minute) + ":" + fieldText(time.second) + "." +
           fieldText(time.hundredth);
  }
  std::string operator()(const ObjectId& object) const {
    return numberText(object.type) + "," + numberText(object.instance);
  }
  std::string operator()(const ContextPrimitive& value) const { return hexText(value.bytes); }
  std::string operator()(const UnknownPrimitive& value) const { return hexText(value.bytes); }
  std::string operator()(const Constructed& value) const { return "{" + describe(value.items) + "}"; }
};

}  // namespace

std::string describe(const Value& value) {
  return std::visit(Describer{}, value);
}

std::string describe(const Values& values) {
  std::string text;
  for (const Value& value : values) {
    if (&value != &values.front()) text += ',';
    text += describe(value);
  }
  return text;
}

}  // namespace bacnet
