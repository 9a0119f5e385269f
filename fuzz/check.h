#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

// A property that must hold for every input. Unlike assert it is there in every build type.
#define FUZZ_CHECK(condition)                                              \
  do {                                                                     \
    if (!(condition)) {                                                    \
      std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                        \
    }                                                                      \
  } while (false)

/// The first byte of `input`, which loses it; 0 where there is none.
inline std::uint8_t takeByte(std::string_view& input) {
  if (input.empty()) return 0;
  const auto byte = static_cast<std::uint8_t>(input.front());
  input.remove_prefix(1);
  return byte;
}
