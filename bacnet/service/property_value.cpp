#include "bacnet/service/property_value.h"

namespace bacnet {

PropertyWrite readPropertyValue(CReader& in) {
  PropertyWrite value;
  value.reference = in.reference(0);
  value.values = in.valuesInside(2);
  value.priority = readPriority(in, 3);
  return value;
}

void writePropertyValue(CWriter& out, const PropertyWrite& value) {
  out.reference(0, value.reference);
  out.valuesInside(2, value.values);
  if (value.priority) out.contextUnsigned(3, *value.priority);
}

std::optional<std::uint8_t> readPriority(CReader& in, std::uint8_t tag) {
  if (!in.comes(Tag::Kind::kContext, tag)) return std::nullopt;
  return static_cast<std::uint8_t>(in.contextUnsigned(tag, UINT8_MAX));
}

Error readError(CReader& in) {
  const auto errorClass = in.take<Enumerated>();
  return {errorClass.number, in.take<Enumerated>().number};
}

void writeError(CWriter& out, const Error& error) {
  out.value(Enumerated{error.errorClass});
  out.value(Enumerated{error.errorCode});
}

}  // namespace bacnet
