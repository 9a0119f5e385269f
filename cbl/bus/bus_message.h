#pragma once

#include <cstdint>
#include <string>

namespace cbl {

/// Base of every bus message: a type that travels in the frame's header, and a body that the subclass writes and reads.
/// Not thread-safe.
class CBusMessage {
 public:
  CBusMessage() = default;
  virtual ~CBusMessage();

  CBusMessage(const CBusMessage&) = delete;
  CBusMessage& operator=(const CBusMessage&) = delete;

  /// Fills the message from a serialised body. Result: see the subclass; here always -1.
  virtual std::int32_t load(const char* data, std::int32_t length);
  virtual std::int32_t load(const std::string& data);
  /// Replaces `out` by the serialised body. Result: its length in bytes, or a negative code; here always -1.
  virtual std::int32_t dump(std::string& out) const;

  /// 8 bits are kept, the low 4 travel. Result: 0.
  std::int32_t setType(std::uint8_t type);
  std::uint8_t getType() const;

 private:
  std::uint8_t type_ = 0;
};

}  // namespace cbl
