#include "binding/value_in.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <variant>

#include "bacnet/codec/describe.h"
#include "bacnet/codec/text.h"
#include "binding/point_plan.h"

namespace binding {

namespace {

// The answer as a number, in a form that keeps whatever it held.
using Number = std::variant<std::uint64_t, std::int64_t, double>;

struct NumberOf {
  using Result = std::optional<Number>;
  Result operator()(bool held) const { return std::uint64_t{held}; }
  Result operator()(std::uint64_t held) const { return held; }
  Result operator()(std::int64_t held) const { return held; }
  Result operator()(float held) const { return double{held}; }
  Result operator()(double held) const { return held; }
  Result operator()(const bacnet::Enumerated& held) const { return std::uint64_t{held.number}; }
  // A mask, bit 0 the lowest, as BitNum counts.
  Result operator()(const bacnet::BitString& held) const {
    if (held.bits.size() > kIntegerBits) return std::nullopt;
    std::uint64_t mask = 0;
    for (std::size_t i = 0; i < held.bits.size(); ++i) mask |= std::uint64_t{held.bits[i]} << i;
    return mask;
  }
  template <typename Other>
  Result operator()(const Other&) const {
    return std::nullopt;
  }
};

// As an integer of the point's size; a negative one becomes its two's complement. Nothing when it does not fit.
std::optional<std::uint32_t> toInteger(const Number& number, std::int32_t size) {
  const bool isByte = size == 1;
  const std::int64_t least = isByte ? 0 : std::numeric_limits<std::int32_t>::min();
  const std::int64_t largest =
      isByte ? std::numeric_limits<std::uint8_t>::max() : std::numeric_limits<std::uint32_t>::max();

  std::int64_t whole = 0;
  if (const auto* const floating = std::get_if<double>(&number)) {
    const double rounded = std::round(*floating);  // half away from zero
    // Put so that NaN does not fit either.
    if (!(rounded >= static_cast<double>(least) && rounded <= static_cast<double>(largest))) return std::nullopt;
    whole = static_cast<std::int64_t>(rounded);
  } else if (const auto* const natural = std::get_if<std::uint64_t>(&number)) {
    if (*natural > static_cast<std::uint64_t>(largest)) return std::nullopt;
    whole = static_cast<std::int64_t>(*natural);
  } else {
    whole = std::get<std::int64_t>(number);
    // Not up to `largest`: in two words that would be another, negative number.
    if (whole < least || whole > std::min<std::int64_t>(largest, std::numeric_limits<std::int32_t>::max())) {
      return std::nullopt;
    }
  }
  return static_cast<std::uint32_t>(whole);
}

double toFloating(const Number& number) {
  return std::visit([](auto held) { return static_cast<double>(held); }, number);
}

// NaN and infinity stay what they are; what a REAL would only turn into infinity does not fit.
std::optional<float> toReal(const Number& number) {
  const double wide = toFloating(number);
  if (std::isfinite(wide) && std::abs(wide) > std::numeric_limits<float>::max()) return std::nullopt;
  return static_cast<float>(wide);
}

std::uint64_t bitPattern(const Number& integer) {
  const auto* const natural = std::get_if<std::uint64_t>(&integer);
  return natural != nullptr ? *natural : static_cast<std::uint64_t>(std::get<std::int64_t>(integer));
}

std::optional<bool> toBool(const bacnet::Value& answer, std::int32_t bitNum) {
  if (const auto* const held = std::get_if<bool>(&answer)) return *held;
  const auto isBitOf = [bitNum](std::size_t count) { return bitNum >= 0 && static_cast<std::size_t>(bitNum) < count; };
  if (const auto* const held = std::get_if<bacnet::BitString>(&answer)) {  // which may have more than a number
    if (!isBitOf(held->bits.size())) return std::nullopt;
    return held->bits[static_cast<std::size_t>(bitNum)];
  }
  const std::optional<Number> number = std::visit(NumberOf(), answer);
  if (!number) return std::nullopt;
  if (const auto* const floating = std::get_if<double>(&*number)) {
    if (std::isnan(*floating)) return std::nullopt;
    return *floating != 0;
  }
  if (!isBitOf(kIntegerBits)) return std::nullopt;
  return ((bitPattern(*number) >> bitNum) & 1U) != 0;
}

template <typename Held>
ResultCode take(const std::optional<Held>& held, plant::Value& value) {
  if (!held) return ResultCode::kDoesNotFit;
  value = *held;
  return ResultCode::kDone;
}

}  // namespace

ResultCode fromDevice(const bacnet::Values& answer, const plant::Point& point, std::int32_t size, plant::Value& value) {
  if (answer.size() == 1 && std::holds_alternative<bacnet::Null>(answer.front())) return ResultCode::kNull;
  if (point.type == plant::DataType::kString) {
    const std::string text = bacnet::describe(answer);
    value = std::string(bacnet::cutAtCharacter(text, static_cast<std::size_t>(size)));
    return ResultCode::kDone;
  }
  if (answer.size() != 1) return ResultCode::kDoesNotFit;
  if (point.type == plant::DataType::kBool) return take(toBool(answer.front(), point.bitNum), value);

  const std::optional<Number> number = std::visit(NumberOf(), answer.front());
  if (!number) return ResultCode::kDoesNotFit;
  switch (point.type) {
    case plant::DataType::kReal:
      return take(toReal(*number), value);
    case plant::DataType::kDouble:
      value = toFloating(*number);
      return ResultCode::kDone;
    default:
      return take(toInteger(*number, point.size), value);
  }
}

}  // namespace binding
