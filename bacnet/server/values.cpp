#include "bacnet/server/values.h"

#include <string>

#include "bacnet/codec/value_text.h"

namespace bacnet::server {

bool isOf(Datatype datatype, const Values& values) {
  if (datatype == Datatype::kDateTime) {
    return values.size() == 2 && std::holds_alternative<Date>(values[0]) && std::holds_alternative<Time>(values[1]);
  }
  if (datatype == Datatype::kAny) return values.size() == 1;
  return typeOf(values) == applicationTypeOf(datatype);
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
