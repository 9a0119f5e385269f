#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>

#include "bacnet/codec/tag.h"
#include "bacnet/codec/value.h"

namespace bacnet {

/// Reads the tagged content of a service from front to back. What is missing, cut or of another type makes the reader
/// fail: from then on everything it gives is empty or 0, and `finished` says no. So a parser reads all its fields and
/// asks once at the end.
class CReader {
 public:
  static constexpr unsigned kDeepestNesting = 32;
  /// Tags in one message: what is made of one takes many times its octets, and a message may come in many segments.
  static constexpr std::uint32_t kMostTags = 1U << 17U;

  /// `bytes` outlives the reader.
  explicit CReader(std::string_view bytes) : rest_(bytes) {}

  bool failed() const { return failed_; }
  bool atEnd() const { return rest_.empty(); }
  bool finished() const { return !failed_ && atEnd(); }  ///< all was read and was right
  void fail();

  /// Whether that tag comes next. Never fails the reader; false when it has failed.
  bool comes(Tag::Kind kind, std::uint8_t number) const;

  void open(std::uint8_t number);
  void close(std::uint8_t number);
  /// Whether something comes before the closing tag, which is read when it comes. For loops over a list: it ends at
  /// whatever ends the reader too.
  bool hasMoreBefore(std::uint8_t closing);

  /// Contents of a context tag that has to come next.
  std::uint32_t contextUnsigned(std::uint8_t number, std::uint32_t largest = UINT32_MAX);
  bool contextBoolean(std::uint8_t number);
  ObjectId contextObject(std::uint8_t number);
  /// A property, and its index in the context tag that follows, if it does.
  PropertyReference reference(std::uint8_t number);

  Value value();                             ///< whatever comes next, with all that is inside it
  Values values();                           ///< all that comes before the end or the closing tag of what is open
  Values valuesInside(std::uint8_t number);  ///< between that opening and closing tag

  /// A value that has to be of this type.
  template <class Type>
  Type take() {
    Value found = value();
    if (const Type* wanted = std::get_if<Type>(&found)) return *wanted;
    fail();
    return Type{};
  }

 private:
  std::optional<Tag> readTag();
  std::string_view context(std::uint8_t number);
  std::string_view content(std::uint32_t length);
  Value constructed(std::uint8_t number);

  std::string_view rest_;
  bool failed_ = false;
  unsigned depth_ = 0;
  std::uint32_t tagsLeft_ = kMostTags;
};

}  // namespace bacnet
