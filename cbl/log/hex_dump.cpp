#include "cbl/log/hex_dump.h"

#include <cstdio>

namespace cbl {

void hexDump(const char* label, const std::uint8_t* bytes, std::int32_t length) {
  if (label != nullptr) {
    std::printf("%s: [", label);
  } else {
    std::printf("[");
  }
  for (std::int32_t i = 0; i < length; ++i) std::printf(" %02x", bytes[i]);
  std::printf(" ]\n");
}

}  // namespace cbl
