#pragma once

#include <lz4frame.h>

#include <cstdint>
#include <string>
#include <vector>

namespace support {

// The bus format written a second time, with zlib's checksum and the LZ4 library's one-call compression, so that a
// fault in the library's own encoder cannot hide behind itself.

std::string encodeBody(const std::vector<std::string>& elements);

std::string lz4Frame(const std::string& content, const LZ4F_preferences_t* preferences = nullptr);

struct FrameFields {
  std::uint32_t identifier = 1;
  std::uint8_t type = 0;
  std::uint8_t mode = 0;  ///< 0 plain, 1 LZ4; says what the carried body is, changes nothing in it
  std::uint64_t timestamp = 1700000000000000;
};

/// A whole frame around a body that is carried as it is.
std::string encodeFrame(const std::string& carriedBody, const FrameFields& fields);

/// Writes the right checksum into the last 4 bytes of a frame that was tampered with.
void sealFrame(std::string& frame);

/// A whole frame that carries `elements`.
std::string messageFrame(const std::vector<std::string>& elements, std::uint32_t identifier, std::uint8_t type = 0,
                         bool compressed = false);

}  // namespace support
