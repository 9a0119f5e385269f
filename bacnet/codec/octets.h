#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace bacnet {

/// Numbers as the protocol carries them: most significant octet first.

/// `bytes` has at most eight octets.
inline std::uint64_t numberOf(std::string_view bytes) {
  std::uint64_t number = 0;
  for (const char octet : bytes) number = number << 8 | static_cast<std::uint8_t>(octet);
  return number;
}

inline std::uint8_t octetAt(std::string_view bytes, std::size_t at) {
  return static_cast<std::uint8_t>(bytes[at]);
}

/// Octets from front to back; gives 0 at the end and remembers it.
class COctets {
 public:
  explicit COctets(std::string_view bytes) : rest_(bytes) {}

  std::uint8_t next() {
    if (rest_.empty()) {
      isCut_ = true;
      return 0;
    }
    const std::uint8_t octet = octetAt(rest_, 0);
    rest_.remove_prefix(1);
    return octet;
  }
  std::string_view rest() const { return rest_; }
  bool isCut() const { return isCut_; }

 private:
  std::string_view rest_;
  bool isCut_ = false;
};

inline void appendNumber(std::string& out, std::uint64_t number, std::size_t octets) {
  for (std::size_t left = octets; left > 0; --left) out += static_cast<char>(number >> (8 * (left - 1)));
}

}  // namespace bacnet
