#include "cbl/bus/crc32.h"

#include <array>

namespace cbl {

namespace {

constexpr std::size_t kSlice = 8;  // bytes taken at a time
using Table = std::array<std::uint32_t, 256>;

// What a byte does to the checksum: the first table's by itself, the n-th's with n more bytes behind it.
constexpr std::array<Table, kSlice> makeTables() {
  std::array<Table, kSlice> tables{};
  for (std::uint32_t byte = 0; byte < tables[0].size(); ++byte) {
    std::uint32_t value = byte;
    for (int bit = 0; bit < 8; ++bit) value = (value & 1) != 0 ? 0xEDB88320U ^ (value >> 1) : value >> 1;
    tables[0][byte] = value;
  }
  for (std::size_t n = 1; n < kSlice; ++n) {
    for (std::size_t byte = 0; byte < tables[n].size(); ++byte) {
      const std::uint32_t before = tables[n - 1][byte];
      tables[n][byte] = tables[0][before & 0xFFU] ^ (before >> 8);
    }
  }
  return tables;
}

constexpr std::array<Table, kSlice> kTables = makeTables();

std::uint32_t loadLittleEndian(const unsigned char* at) {
  return at[0] | static_cast<std::uint32_t>(at[1]) << 8 | static_cast<std::uint32_t>(at[2]) << 16 |
         static_cast<std::uint32_t>(at[3]) << 24;
}

}  // namespace

// By the byte each step waits for the one before; of a slice the eight look-ups go side by side.
std::uint32_t crc32(const void* data, std::size_t length) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  std::uint32_t crc = 0xFFFFFFFFU;
  for (; length >= kSlice; bytes += kSlice, length -= kSlice) {
    const std::uint32_t first = crc ^ loadLittleEndian(bytes);
    const std::uint32_t second = loadLittleEndian(bytes + 4);
    crc = kTables[7][first & 0xFFU] ^ kTables[6][(first >> 8) & 0xFFU] ^ kTables[5][(first >> 16) & 0xFFU] ^
          kTables[4][first >> 24] ^ kTables[3][second & 0xFFU] ^ kTables[2][(second >> 8) & 0xFFU] ^
          kTables[1][(second >> 16) & 0xFFU] ^ kTables[0][second >> 24];
  }
  for (; length > 0; ++bytes, --length) crc = kTables[0][(crc ^ *bytes) & 0xFFU] ^ (crc >> 8);
  return ~crc;
}

}  // namespace cbl
