#include "bacnet/server/datatype.h"

#include <string>

namespace bacnet::server {

namespace {

bool isOneOf(Datatype datatype, const Value& value) {
  switch (datatype) {
    case Datatype::kBoolean:
      return std::holds_alternative<bool>(value);
    case Datatype::kUnsigned:
      return std::holds_alternative<std::uint64_t>(value);
    case Datatype::kSigned:
      return std::holds_alternative<std::int64_t>(value);
    case Datatype::kReal:
      return std::holds_alternative<float>(value);
    case Datatype::kDouble:
      return std::holds_alternative<double>(value);
    case Datatype::kOctets:
      return std::holds_alternative<OctetString>(value);
    case Datatype::kText:
      return std::holds_alternative<CharacterString>(value);
    case Datatype::kBits:
      return std::holds_alternative<BitString>(value);
    case Datatype::kEnumerated:
      return std::holds_alternative<Enumerated>(value);
    case Datatype::kDate:
      return std::holds_alternative<Date>(value);
    case Datatype::kTime:
      return std::holds_alternative<Time>(value);
    case Datatype::kObjectId:
      return std::holds_alternative<ObjectId>(value);
    case Datatype::kAny:
      return true;
    case Datatype::kDateTime:
      break;
  }
  return false;
}

}  // namespace

bool isOf(Datatype datatype, const Values& values) {
  if (datatype == Datatype::kDateTime) {
    return values.size() == 2 && isOneOf(Datatype::kDate, values[0]) && isOneOf(Datatype::kTime, values[1]);
  }
  return values.size() == 1 && isOneOf(datatype, values[0]);
}

std::optional<double> numberOf(const Value& value) {
  if (const auto* number = std::get_if<std::uint64_t>(&value)) return static_cast<double>(*number);
  if (const auto* number = std::get_if<std::int64_t>(&value)) return static_cast<double>(*number);
  if (const auto* number = std::get_if<float>(&value)) return *number;
  if (const auto* number = std::get_if<double>(&value)) return *number;
  if (const auto* number = std::get_if<Enumerated>(&value)) return number->number;
  return std::nullopt;
}

CharacterString text(std::string_view utf8) {
  return {0, std::string(utf8)};
}

bool isNull(const Values& values) {
  return values.size() == 1 && std::holds_alternative<Null>(values[0]);
}

}  // namespace bacnet::server
