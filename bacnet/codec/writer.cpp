#include "bacnet/codec/writer.h"

#include <cstring>
#include <string_view>
#include <variant>

#include "bacnet/codec/octets.h"
#include "bacnet/codec/primitive.h"

namespace bacnet {
namespace {

// Appends one value: its tag and its content.
struct ValueAppender {
  std::string& out;

  void tag(ApplicationType type, std::size_t length) const {
    appendTag(out, Tag::Kind::kApplication, static_cast<std::uint8_t>(type), length);
  }
  void number(ApplicationType type, std::uint64_t bits, std::size_t octets) const {
    tag(type, octets);
    appendNumber(out, bits, octets);
  }
  void fourOctets(ApplicationType type, std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d) const {
    tag(type, 4);
    for (const std::uint8_t octet : {a, b, c, d}) out += static_cast<char>(octet);
  }

  void operator()(const Null&) const { tag(ApplicationType::kNull, 0); }
  void operator()(bool value) const { tag(ApplicationType::kBoolean, value ? 1 : 0); }
  void operator()(std::uint64_t value) const { number(ApplicationType::kUnsigned, value, unsignedOctets(value)); }
  void operator()(std::int64_t value) const {
    number(ApplicationType::kSigned, static_cast<std::uint64_t>(value), signedOctets(value));
  }
  void operator()(float value) const {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    number(ApplicationType::kReal, bits, sizeof bits);
  }
  void operator()(double value) const {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    number(ApplicationType::kDouble, bits, sizeof bits);
  }
  void operator()(const OctetString& value) const {
    tag(ApplicationType::kOctetString, value.bytes.size());
    out += value.bytes;
  }
  void operator()(const CharacterString& value) const {
    tag(ApplicationType::kCharacterString, 1 + value.bytes.size());
    out += static_cast<char>(value.charset);
    out += value.bytes;
  }
  void operator()(const BitString& value) const {
    const std::size_t octets = (value.bits.size() + 7) / 8;
    tag(ApplicationType::kBitString, 1 + octets);
    out += static_cast<char>(8 * octets - value.bits.size());
    const std::size_t at = out.size();
    out.append(octets, '\0');
    for (std::size_t bit = 0; bit < value.bits.size(); ++bit) {
      if (value.bits[bit]) out[at + bit / 8] = static_cast<char>(octetAt(out, at + bit / 8) | 0x80U >> bit % 8);
    }
  }
  void operator()(const Enumerated& value) const {
    number(ApplicationType::kEnumerated, value.number, unsignedOctets(value.number));
  }
  void operator()(const Date& date) const {
    fourOctets(ApplicationType::kDate, date.year, date.month, date.day, date.weekday);
  }
  void operator()(const Time& time) const {
    fourOctets(ApplicationType::kTime, time.hour, time.minute, time.second, time.hundredth);
  }
  void operator()(const ObjectId& object) const { number(ApplicationType::kObjectId, objectIdNumber(object), 4); }
  void operator()(const ContextPrimitive& value) const {
    appendTag(out, Tag::Kind::kContext, value.tag, value.bytes.size());
    out += value.bytes;
  }
  void operator()(const UnknownPrimitive& value) const {
    appendTag(out, Tag::Kind::kApplication, value.tag, value.bytes.size());
    out += value.bytes;
  }
  void operator()(const Constructed& value) const {
    appendTag(out, Tag::Kind::kOpening, value.tag, 0);
    for (const Value& item : value.items) std::visit(*this, item);
    appendTag(out, Tag::Kind::kClosing, value.tag, 0);
  }
};

}  // namespace

void CWriter::contextUnsigned(std::uint8_t number, std::uint32_t value) {
  const std::size_t octets = unsignedOctets(value);
  appendTag(bytes_, Tag::Kind::kContext, number, octets);
  appendNumber(bytes_, value, octets);
}

void CWriter::contextBoolean(std::uint8_t number, bool value) {
  appendTag(bytes_, Tag::Kind::kContext, number, 1);
  bytes_ += static_cast<char>(value);
}

void CWriter::contextObject(std::uint8_t number, const ObjectId& object) {
  appendTag(bytes_, Tag::Kind::kContext, number, 4);
  appendNumber(bytes_, objectIdNumber(object), 4);
}

void CWriter::reference(std::uint8_t number, const PropertyReference& reference) {
  contextUnsigned(number, reference.property);
  if (reference.index) contextUnsigned(static_cast<std::uint8_t>(number + 1), *reference.index);
}

void CWriter::value(const Value& value) {
  std::visit(ValueAppender{bytes_}, value);
}

void CWriter::values(const Values& values) {
  for (const Value& each : values) value(each);
}

void CWriter::valuesInside(std::uint8_t number, const Values& content) {
  open(number);
  values(content);
  close(number);
}

}  // namespace bacnet
