#pragma once

#include <cstddef>
#include <cstdint>

namespace cbl {

/// The common CRC-32: reflected polynomial 0xEDB88320, initial value all ones, final complement.
std::uint32_t crc32(const void* data, std::size_t length);

}  // namespace cbl
