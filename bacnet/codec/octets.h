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

inline void appendNumber(std::string& out, std::uint64_t number, std::size_t octets) {
  for (std::size_t left = octets; left > 0; --left) out += static_cast<char>(number >> (8 * (left - 1)));
}

}  // namespace bacnet
