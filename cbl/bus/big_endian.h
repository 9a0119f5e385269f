#pragma once

#include <endian.h>

#include <cstdint>
#include <cstring>

namespace cbl {

// From the machine's order to big-endian, and as well the other way.
inline std::uint32_t swapToBigEndian(std::uint32_t value) {
  return htobe32(value);
}
inline std::uint64_t swapToBigEndian(std::uint64_t value) {
  return htobe64(value);
}

/// Writes the `sizeof(Unsigned)` bytes of `value` at `at`, the highest first.
template <typename Unsigned>
void storeBigEndian(char* at, Unsigned value) {
  const Unsigned bytes = swapToBigEndian(value);
  std::memcpy(at, &bytes, sizeof(bytes));
}

template <typename Unsigned>
Unsigned loadBigEndian(const char* at) {
  Unsigned bytes;
  std::memcpy(&bytes, at, sizeof(bytes));
  return swapToBigEndian(bytes);
}

}  // namespace cbl
