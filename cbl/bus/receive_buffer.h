#pragma once

#include <cstdint>
#include <memory>

namespace cbl {

/// Bytes received and not yet consumed, in an array of fixed capacity. Not thread-safe.
class CReceiveBuffer {
 public:
  /// `capacity` in bytes; 0 or less means 262144.
  explicit CReceiveBuffer(std::int32_t capacity = 0);

  /// Result: `length`; -1 null or a length of 0 or less; -2 not enough room (nothing is appended).
  std::int32_t append(const char* bytes, std::int32_t length);
  /// Drops at most `length` bytes from the front.
  void removeFront(std::uint32_t length);

  const char* data() const { return bytes_.get(); }
  std::uint32_t size() const { return used_; }

 private:
  std::uint32_t capacity_;
  std::uint32_t used_ = 0;
  std::unique_ptr<char[]> bytes_;
};

}  // namespace cbl
