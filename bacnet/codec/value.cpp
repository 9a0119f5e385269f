#include "bacnet/codec/value.h"

#include "bacnet/codec/reader.h"
#include "bacnet/codec/writer.h"

namespace bacnet {

bool operator==(const Null&, const Null&) {
  return true;
}
bool operator==(const OctetString& a, const OctetString& b) {
  return a.bytes == b.bytes;
}
bool operator==(const CharacterString& a, const CharacterString& b) {
  return a.charset == b.charset && a.bytes == b.bytes;
}
bool operator==(const BitString& a, const BitString& b) {
  return a.bits == b.bits;
}
bool operator==(const Enumerated& a, const Enumerated& b) {
  return a.number == b.number;
}
bool operator==(const Date& a, const Date& b) {
  return a.year == b.year && a.month == b.month && a.day == b.day && a.weekday == b.weekday;
}
bool operator==(const Time& a, const Time& b) {
  return a.hour == b.hour && a.minute == b.minute && a.second == b.second && a.hundredth == b.hundredth;
}
bool operator==(const ContextPrimitive& a, const ContextPrimitive& b) {
  return a.tag == b.tag && a.bytes == b.bytes;
}
bool operator==(const UnknownPrimitive& a, const UnknownPrimitive& b) {
  return a.tag == b.tag && a.bytes == b.bytes;
}
bool operator==(const Constructed& a, const Constructed& b) {
  return a.tag == b.tag && a.items == b.items;
}

std::string encode(const Values& values) {
  CWriter out;
  out.values(values);
  return out.take();
}

std::optional<Values> parseValues(std::string_view bytes) {
  CReader in(bytes);
  Values values = in.values();
  if (!in.finished()) return std::nullopt;
  return values;
}

}  // namespace bacnet
