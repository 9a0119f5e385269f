#include "bacnet/codec/reader.h"

#include <utility>

#include "bacnet/codec/octets.h"
#include "bacnet/codec/primitive.h"

namespace bacnet {

void CReader::fail() {
  failed_ = true;
  rest_ = {};
}

bool CReader::comes(Tag::Kind kind, std::uint8_t number) const {
  const auto tag = parseTag(rest_);
  return tag && tag->kind == kind && tag->number == number;
}

std::optional<Tag> CReader::readTag() {
  auto tag = parseTag(rest_);
  if (tagsLeft_ == 0) tag.reset();
  if (!tag) {
    fail();
    return tag;
  }
  --tagsLeft_;
  rest_.remove_prefix(tag->octets);
  return tag;
}

std::string_view CReader::content(std::uint32_t length) {
  const std::string_view bytes = rest_.substr(0, length);
  rest_.remove_prefix(bytes.size());
  return bytes;
}

void CReader::open(std::uint8_t number) {
  const auto tag = readTag();
  if (!tag || tag->kind != Tag::Kind::kOpening || tag->number != number) fail();
}

void CReader::close(std::uint8_t number) {
  const auto tag = readTag();
  if (!tag || tag->kind != Tag::Kind::kClosing || tag->number != number) fail();
}

bool CReader::hasMoreBefore(std::uint8_t closing) {
  if (!atEnd() && !comes(Tag::Kind::kClosing, closing)) return true;
  close(closing);
  return false;
}

std::string_view CReader::context(std::uint8_t number) {
  const auto tag = readTag();
  if (!tag) return {};
  if (tag->kind == Tag::Kind::kContext && tag->number == number) return content(tag->length);
  fail();
  return {};
}

std::uint32_t CReader::contextUnsigned(std::uint8_t number, std::uint32_t largest) {
  const auto found = unsignedIn(context(number), largest);
  if (!found) fail();
  return static_cast<std::uint32_t>(found.value_or(0));
}

bool CReader::contextBoolean(std::uint8_t number) {
  const std::string_view bytes = context(number);
  if (bytes.size() != 1 || octetAt(bytes, 0) > 1) fail();
  return !failed_ && octetAt(bytes, 0) == 1;
}

ObjectId CReader::contextObject(std::uint8_t number) {
  const auto found = objectIdIn(context(number));
  if (!found) fail();
  return found.value_or(ObjectId{});
}

PropertyReference CReader::reference(std::uint8_t number) {
  PropertyReference reference;
  reference.property = contextUnsigned(number);
  const auto indexTag = static_cast<std::uint8_t>(number + 1);
  if (comes(Tag::Kind::kContext, indexTag)) reference.index = contextUnsigned(indexTag);
  return reference;
}

Value CReader::value() {
  const auto tag = readTag();
  if (!tag) return Null{};
  if (tag->kind == Tag::Kind::kOpening) return constructed(tag->number);
  if (tag->kind == Tag::Kind::kContext) return ContextPrimitive{tag->number, std::string(content(tag->length))};
  if (tag->kind == Tag::Kind::kApplication) {
    if (tag->number == static_cast<std::uint8_t>(ApplicationType::kBoolean)) return tag->length == 1;
    if (auto found = primitiveIn(tag->number, content(tag->length))) return *std::move(found);
  }
  fail();
  return Null{};
}

Value CReader::constructed(std::uint8_t number) {
  Constructed result{number, {}};
  if (++depth_ > kDeepestNesting) fail();
  result.items = values();
  close(number);
  --depth_;
  return result;
}

Values CReader::values() {
  Values result;
  while (!atEnd()) {
    const auto tag = parseTag(rest_);
    if (tag && tag->kind == Tag::Kind::kClosing) break;
    result.push_back(value());
  }
  if (failed_) result.clear();
  return result;
}

Values CReader::valuesInside(std::uint8_t number) {
  open(number);
  Values result = values();
  close(number);
  return result;
}

}  // namespace bacnet
