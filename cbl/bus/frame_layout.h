#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// The bus frame in numbers, for whoever packs, cuts or reads one. What each field means is written down in
// docs/bus-protocol.md. All sizes are bytes, all numbers in a frame are big-endian.
namespace cbl::frame {

inline constexpr std::string_view kMagic = "VLX";
inline constexpr char kVersion = 1;

// Offsets, each the end of the field before.
inline constexpr std::size_t kVersionAt = kMagic.size();
inline constexpr std::size_t kIdentifierAt = kVersionAt + 1;
inline constexpr std::size_t kTypeAndModeAt = kIdentifierAt + 4;
inline constexpr std::size_t kReservedAt = kTypeAndModeAt + 1;
inline constexpr std::size_t kTimestampAt = kReservedAt + 3;
inline constexpr std::size_t kBodyLengthAt = kTimestampAt + 8;
inline constexpr std::size_t kBodyAt = kBodyLengthAt + 4;
inline constexpr std::size_t kChecksumSize = 4;
inline constexpr std::size_t kOverhead = kBodyAt + kChecksumSize;
static_assert(kOverhead == 28);

// The low nibble beside the type: how the body is carried.
inline constexpr std::uint8_t kModePlain = 0;
inline constexpr std::uint8_t kModeLz4 = 1;

inline constexpr std::uint8_t kLastMessageType = 1;  ///< frames of a higher type are skipped

/// The client takes a reply in at most so many reads of at most so many bytes: a longer reply cannot reach it.
inline constexpr int kMostReads = 3;
inline constexpr std::size_t kReadSize = 4096;
inline constexpr std::size_t kLongestReply = kMostReads * kReadSize;

/// A server closes the connection on a request whose body, as it is carried, is longer.
inline constexpr std::size_t kLongestRequestBody = std::size_t{1} << 20;

}  // namespace cbl::frame
