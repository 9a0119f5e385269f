#include "host/tool/live/type_fit.h"

#include <fmt/format.h>

#include "bacnet/codec/describe.h"
#include "bacnet/codec/value_text.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"
#include "binding/point_plan.h"
#include "binding/value_in.h"
#include "plant/value.h"

namespace tool {

namespace {

using bacnet::ApplicationType;
using plant::DataType;

constexpr std::int32_t kLongestString = 512;      // bytes: what a helper takes of one point
constexpr std::uint64_t kExactInReal = 16777216;  // 2^24: whole numbers beyond lose digits

std::string nameOf(ApplicationType type) {
  switch (type) {
    case ApplicationType::kNull:
      return "Null";
    case ApplicationType::kBoolean:
      return "Boolean";
    case ApplicationType::kUnsigned:
      return "Unsigned";
    case ApplicationType::kSigned:
      return "Signed";
    case ApplicationType::kReal:
      return "Real";
    case ApplicationType::kDouble:
      return "Double";
    case ApplicationType::kOctetString:
      return "OctetString";
    case ApplicationType::kCharacterString:
      return "CharacterString";
    case ApplicationType::kBitString:
      return "BitString";
    case ApplicationType::kEnumerated:
      return "Enumerated";
    case ApplicationType::kDate:
      return "Date";
    case ApplicationType::kTime:
      return "Time";
    case ApplicationType::kObjectId:
      return "ObjectIdentifier";
  }
  return {};
}

bool isNumber(ApplicationType type) {
  return type == ApplicationType::kUnsigned || type == ApplicationType::kSigned || type == ApplicationType::kReal ||
         type == ApplicationType::kDouble || type == ApplicationType::kEnumerated;
}

std::string wordOf(const plant::Point& point) {
  return point.dataTypeWord.empty() ? "without DataType" : point.dataTypeWord;
}

Discrepancy warning(std::string problem, std::string remedy) {
  return {plant::Severity::kWarning, "type", std::move(problem), std::move(remedy)};
}

Discrepancy misfit(const plant::Point& point, const bacnet::Values& values) {
  const auto error = [](std::string problem, std::string remedy) {
    return Discrepancy{plant::Severity::kError, "type", std::move(problem), std::move(remedy)};
  };
  if (values.size() != 1)
    return error(
        fmt::format("the property has {} values, and a register of {} holds one", values.size(), wordOf(point)),
        fmt::format("write an index, as in {}[1], or DataType STRING", point.name));
  const auto type = bacnet::typeOf(values);
  if (point.type == DataType::kBool && type == ApplicationType::kBitString) {
    const std::size_t bits = std::get<bacnet::BitString>(values.front()).bits.size();
    return error(fmt::format("there is no bit {}: the bit string has {}", point.bitNum, bits),
                 bits == 0 ? "remove the point" : fmt::format("write BitNum 0 to {}", bits - 1));
  }
  const std::string what = type ? nameOf(*type) : "constructed value";
  const bool isBeyond = type && isNumber(*type);
  return error(
      fmt::format("the device has the {} '{}': {} does not hold it", what, bacnet::describe(values), wordOf(point)),
      isBeyond ? "write DataType DOUBLE, or UDINT for a whole number" : "write DataType STRING");
}

bool isStateNumber(const plant::Point& point) {
  using namespace bacnet::object_type;
  const bool isMultiState = point.objectType == kMultiStateInput || point.objectType == kMultiStateOutput ||
                            point.objectType == kMultiStateValue;
  return isMultiState && point.propId == static_cast<std::int32_t>(bacnet::property::kPresentValue);
}

// What is read, but not as its author will have meant it.
std::optional<Discrepancy> loss(const plant::Point& point, const bacnet::Values& values) {
  const auto type = bacnet::typeOf(values);
  const bool isFloating = type == ApplicationType::kReal || type == ApplicationType::kDouble;
  switch (point.type) {
    case DataType::kString:
      return std::nullopt;
    case DataType::kBool:
      if (isFloating)
        return warning(fmt::format("the device has a {}: as BOOL it is true for all but 0", nameOf(*type)),
                       "write DataType REAL");
      if (isStateNumber(point))
        return warning(fmt::format("a state's number: as BOOL it is bit {} of it", point.bitNum),
                       "write DataType UDINT");
      return std::nullopt;
    case DataType::kReal: {
      const auto* number = std::get_if<std::uint64_t>(&values.front());
      if (type == ApplicationType::kDouble || (number != nullptr && *number > kExactInReal))
        return warning(fmt::format("REAL loses digits of the device's {}", nameOf(*type)), "write DataType DOUBLE");
      return std::nullopt;
    }
    case DataType::kDouble:
      return std::nullopt;
    default:
      if (isFloating)
        return warning(
            fmt::format("the device has a {}, which {} rounds to a whole number", nameOf(*type), wordOf(point)),
            "write DataType REAL");
      if (type == ApplicationType::kSigned)
        return warning("the device has a Signed: negative values are shown as large numbers", "write DataType DOUBLE");
      return std::nullopt;
  }
}

// The helper writes by the standard's type.
std::optional<Discrepancy> oddity(const plant::Point& point, const bacnet::Values& values) {
  const auto type = bacnet::typeOf(values);
  const bacnet::PropertyAddress address = binding::addressOf(point);
  const auto usual = binding::writtenType(address.object.type, address.reference);
  if (!type || !usual || *type == *usual) return std::nullopt;
  return warning(
      fmt::format("the device's value is of type {}, the standard's of type {}", nameOf(*type), nameOf(*usual)),
      "try a write: it may be refused, and only the device's maker can help");
}

}  // namespace

TypeFit fitOf(const plant::Point& point, const bacnet::Values& values) {
  plant::Value value;
  const auto code = binding::fromDevice(values, point, kLongestString, value);
  TypeFit fit{static_cast<std::int32_t>(code), {}, {}};
  switch (code) {
    case binding::ResultCode::kDone:
      fit.value = plant::toText(value);
      fit.discrepancy = loss(point, values);
      if (!fit.discrepancy) fit.discrepancy = oddity(point, values);
      break;
    case binding::ResultCode::kNull:
      break;
    default:
      fit.value = bacnet::describe(values);
      fit.discrepancy = misfit(point, values);
  }
  return fit;
}

}  // namespace tool
