#include "binding/value_out.h"

#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <variant>

#include "bacnet/codec/text.h"
#include "bacnet/codec/value_text.h"
#include "binding/point_plan.h"

namespace binding {

namespace {

using bacnet::ApplicationType;

// A REAL or DOUBLE as a whole number, half away from zero; nothing for NaN and what does not fit.
template <typename Integer>
std::optional<Integer> rounded(double number) {
  const double whole = std::round(number);
  constexpr double kExact = 9007199254740992.0;  // beyond 2^53 not every whole number is a double
  const double least = std::is_signed_v<Integer> ? -kExact : 0;
  if (!(whole >= least && whole <= kExact)) return std::nullopt;
  return static_cast<Integer>(whole);
}

std::optional<double> floatingOf(const plant::Value& value) {
  if (const auto* const held = std::get_if<float>(&value)) return *held;
  if (const auto* const held = std::get_if<double>(&value)) return *held;
  return std::nullopt;
}

// BOOL and integers.
std::uint32_t integerOf(const plant::Value& value) {
  if (const auto* const held = std::get_if<bool>(&value)) return *held ? 1 : 0;
  return std::get<std::uint32_t>(value);
}

std::optional<std::uint64_t> unsignedOf(const plant::Value& value) {
  if (const auto floating = floatingOf(value)) return rounded<std::uint64_t>(*floating);
  return integerOf(value);
}

std::optional<std::int64_t> signedOf(const plant::Value& value) {
  if (const auto floating = floatingOf(value)) return rounded<std::int64_t>(*floating);
  return static_cast<std::int32_t>(integerOf(value));  // two's complement, as it is read
}

double doubleOf(const plant::Value& value) {
  const auto floating = floatingOf(value);
  return floating ? *floating : static_cast<double>(integerOf(value));
}

using Written = std::optional<bacnet::Value>;

template <typename Held>
Written written(const std::optional<Held>& held) {
  if (!held) return std::nullopt;
  return bacnet::Value(*held);
}

Written asReal(double number) {
  if (std::isfinite(number) && std::abs(number) > std::numeric_limits<float>::max()) return std::nullopt;
  return bacnet::Value(static_cast<float>(number));
}

Written asEnumerated(const std::optional<std::uint64_t>& number) {
  if (!number || *number > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  return bacnet::Value(bacnet::Enumerated{static_cast<std::uint32_t>(*number)});
}

Written asBits(const plant::Value& value, const plant::Point& point, const bacnet::Values& current) {
  const auto* const held = current.size() == 1 ? std::get_if<bacnet::BitString>(&current.front()) : nullptr;
  if (held == nullptr) return std::nullopt;
  bacnet::BitString bits = *held;
  if (const auto* const one = std::get_if<bool>(&value)) {
    if (point.bitNum < 0 || static_cast<std::size_t>(point.bitNum) >= bits.bits.size()) return std::nullopt;
    bits.bits[static_cast<std::size_t>(point.bitNum)] = *one;
    return bacnet::Value(bits);
  }
  const auto mask = unsignedOf(value);
  if (!mask) return std::nullopt;
  for (std::size_t i = 0; i < bits.bits.size(); ++i) {
    bits.bits[i] = i < kIntegerBits && ((*mask >> i) & 1U) != 0;
  }
  const bool isCut = bits.bits.size() < kIntegerBits && (*mask >> bits.bits.size()) != 0;
  if (isCut) return std::nullopt;
  return bacnet::Value(bits);
}

// One bit of an integer that the device has.
Written asBitOfInteger(bool bit, const plant::Point& point, const bacnet::Values& current) {
  if (current.size() != 1 || point.bitNum < 0 || static_cast<std::size_t>(point.bitNum) >= kIntegerBits)
    return std::nullopt;
  const std::uint64_t mask = std::uint64_t{1} << point.bitNum;
  const auto changed = [&](std::uint64_t pattern) { return bit ? pattern | mask : pattern & ~mask; };
  if (const auto* const held = std::get_if<std::uint64_t>(&current.front())) return bacnet::Value(changed(*held));
  if (const auto* const held = std::get_if<std::int64_t>(&current.front())) {
    return bacnet::Value(static_cast<std::int64_t>(changed(static_cast<std::uint64_t>(*held))));
  }
  return std::nullopt;
}

Written asNumber(const plant::Value& value, const plant::Point& point, ApplicationType tag,
                 const bacnet::Values& current) {
  switch (tag) {
    case ApplicationType::kBoolean: {
      const double number = doubleOf(value);
      if (std::isnan(number)) return std::nullopt;
      return bacnet::Value(number != 0);
    }
    case ApplicationType::kUnsigned:
      return written(unsignedOf(value));
    case ApplicationType::kSigned:
      return written(signedOf(value));
    case ApplicationType::kReal:
      return asReal(doubleOf(value));
    case ApplicationType::kDouble:
      return bacnet::Value(doubleOf(value));
    case ApplicationType::kEnumerated:
      return asEnumerated(unsignedOf(value));
    case ApplicationType::kBitString:
      return asBits(value, point, current);
    case ApplicationType::kCharacterString:
      return bacnet::Value(bacnet::characterString(plant::toText(value)));
    default:
      return std::nullopt;
  }
}

// The text of a date and a time, for a property that has both.
std::optional<bacnet::Values> asDateAndTime(const std::string& text, const bacnet::Values& current) {
  const bool isBoth = current.size() == 2 && std::holds_alternative<bacnet::Date>(current[0]) &&
                      std::holds_alternative<bacnet::Time>(current[1]);
  const std::size_t comma = text.find(',');
  if (!isBoth || comma == std::string::npos) return std::nullopt;
  const auto date = bacnet::valueOf(text.substr(0, comma), ApplicationType::kDate);
  const auto time = bacnet::valueOf(text.substr(comma + 1), ApplicationType::kTime);
  if (!date || !time) return std::nullopt;
  return bacnet::Values{*date, *time};
}

Written asPrimitive(const plant::Value& value, const plant::Point& point, ApplicationType tag,
                    const bacnet::Values& current) {
  if (const auto* const text = std::get_if<std::string>(&value)) return bacnet::valueOf(*text, tag);
  if (needsCurrent(point, tag) && tag != ApplicationType::kBitString)
    return asBitOfInteger(std::get<bool>(value), point, current);
  return asNumber(value, point, tag, current);
}

}  // namespace

bool needsCurrent(const plant::Point& point, ApplicationType tag) {
  if (tag == ApplicationType::kBitString) return point.type != plant::DataType::kString;
  const bool isInteger = tag == ApplicationType::kUnsigned || tag == ApplicationType::kSigned;
  return isInteger && point.type == plant::DataType::kBool;
}

ResultCode toDevice(const plant::Value& value, const plant::Point& point, std::optional<ApplicationType> tag,
                    const bacnet::Values& current, bacnet::Values& out) {
  std::optional<bacnet::Values> result;
  if (tag) {
    if (auto one = asPrimitive(value, point, *tag, current)) result = {std::move(*one)};
  } else if (const auto* const text = std::get_if<std::string>(&value)) {
    result = asDateAndTime(*text, current);
  }
  if (!result) return ResultCode::kDoesNotFit;
  out = std::move(*result);
  return ResultCode::kDone;
}

}  // namespace binding
