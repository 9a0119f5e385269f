#include "cbl/bus/crc32.h"

#include <array>

namespace cbl {

namespace {

constexpr std::array<std::uint32_t, 256> makeTable() {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t i = 0; i < table.size(); ++i) {
    std::uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = (value & 1) != 0 ? 0xEDB88320U ^ (value >> 1) : value >> 1;
    table[i] = value;
  }
  return table;
}

constexpr std::array<std::uint32_t, 256> kTable = makeTable();

}  // namespace

std::uint32_t crc32(const void* data, std::size_t length) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  std::uint32_t crc = 0xFFFFFFFFU;
  for (std::size_t i = 0; i < length; ++i) crc = kTable[(crc ^ bytes[i]) & 0xFFU] ^ (crc >> 8);
  return ~crc;
}

}  // namespace cbl
