#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "bacnet/codec/tag.h"
#include "bacnet/codec/value.h"

namespace bacnet {

/// Writes the tagged content of a service from front to back, each number in its shortest form.
class CWriter {
 public:
  void open(std::uint8_t number) { appendTag(bytes_, Tag::Kind::kOpening, number, 0); }
  void close(std::uint8_t number) { appendTag(bytes_, Tag::Kind::kClosing, number, 0); }

  void contextUnsigned(std::uint8_t number, std::uint32_t value);
  void contextBoolean(std::uint8_t number, bool value);
  void contextObject(std::uint8_t number, const ObjectId& object);
  void reference(std::uint8_t number, const PropertyReference& reference);  ///< the index in the tag that follows

  void value(const Value& value);
  void values(const Values& values);
  void valuesInside(std::uint8_t number, const Values& values);

  std::string take() { return std::move(bytes_); }

 private:
  std::string bytes_;
};

}  // namespace bacnet
