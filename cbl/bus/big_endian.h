#pragma once

#include <cstddef>

namespace cbl {

/// Writes the `sizeof(Unsigned)` bytes of `value` at `at`, the highest first.
template <typename Unsigned>
void storeBigEndian(char* at, Unsigned value) {
  for (std::size_t i = 0; i < sizeof(value); ++i) at[i] = static_cast<char>(value >> (8 * (sizeof(value) - 1 - i)));
}

template <typename Unsigned>
Unsigned loadBigEndian(const char* at) {
  Unsigned value = 0;
  for (std::size_t i = 0; i < sizeof(value); ++i) {
    value = static_cast<Unsigned>((value << 8) | static_cast<unsigned char>(at[i]));
  }
  return value;
}

}  // namespace cbl
