#include "cbl/bus/bus_protocol.h"

#include <chrono>
#include <cstring>
#include <limits>
#include <string_view>

#include "cbl/bus/crc32.h"
#include "cbl/z/lz4_buffer.h"

namespace cbl {

namespace {

constexpr std::string_view kMagic = "VLX";
constexpr char kVersion = 1;
constexpr std::uint8_t kModePlain = 0;
constexpr std::uint8_t kModeLz4 = 1;

// Offsets of the frame's fields, each the end of the one before.
constexpr std::size_t kVersionAt = 3;
constexpr std::size_t kIdentifierAt = kVersionAt + 1;
constexpr std::size_t kTypeAndModeAt = kIdentifierAt + 4;
constexpr std::size_t kReservedAt = kTypeAndModeAt + 1;
constexpr std::size_t kTimestampAt = kReservedAt + 3;
constexpr std::size_t kBodyLengthAt = kTimestampAt + 8;
constexpr std::size_t kBodyAt = kBodyLengthAt + 4;
constexpr std::size_t kChecksumSize = 4;
constexpr std::size_t kFrameOverhead = kBodyAt + kChecksumSize;
static_assert(kFrameOverhead == 28);

constexpr std::int32_t kFindShift = 16;  // keeps a failed unpack visible behind findAndUnpack

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

std::uint64_t microsecondsNow() {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch).count());
}

// Replaces `body` by its compressed or decompressed form; a mode other than LZ4 leaves it as it is.
bool recode(std::string& body, std::uint8_t mode, Lz4Direction direction) {
  if (mode != kModeLz4) return true;
  std::string recoded;
  if (lz4Buffer(body, recoded, direction) < 0) return false;
  body.swap(recoded);
  return true;
}

}  // namespace

CBusProtocol::CBusProtocol() : compressionThreshold_(1024), compressionMode_(kModeLz4), sequence_(0) {}

CBusProtocol::~CBusProtocol() = default;

std::int32_t CBusProtocol::pack(const CBusMessage& message, std::string& frame, std::int32_t identifier) {
  const std::int32_t bodyLength = message.dump(frame);  // the rest is put around it
  if (bodyLength < 0) return -1;

  const std::uint8_t mode = compressionThreshold_ > bodyLength ? kModePlain : compressionMode_;

  if (identifier < 0) {
    // Not one atomic step at the wrap: two threads there may both miss it, which is accepted.
    identifier = sequence_.fetch_add(1);
    if (sequence_.load() == std::numeric_limits<std::int32_t>::max()) sequence_.store(0);
  }

  char header[kBodyAt] = {};
  std::memcpy(header, kMagic.data(), kMagic.size());
  header[kVersionAt] = kVersion;
  storeBigEndian(header + kIdentifierAt, static_cast<std::uint32_t>(identifier));
  header[kTypeAndModeAt] = static_cast<char>(((message.getType() & 0x0FU) << 4) | (mode & 0x0FU));
  storeBigEndian(header + kTimestampAt, microsecondsNow());

  if (!recode(frame, mode, Lz4Direction::kCompress)) return -1;
  if (frame.size() > std::numeric_limits<std::int32_t>::max() - kFrameOverhead) return -1;
  storeBigEndian(header + kBodyLengthAt, static_cast<std::uint32_t>(frame.size()));

  frame.reserve(kFrameOverhead + frame.size());
  frame.insert(0, header, kBodyAt);
  char checksum[kChecksumSize];
  storeBigEndian(checksum, crc32(frame.data(), frame.size()));
  frame.append(checksum, kChecksumSize);
  return static_cast<std::int32_t>(frame.size());
}

std::int32_t CBusProtocol::unpack(const char* data, std::int32_t length, BusFrameInfo& info) const {
  if (data == nullptr || length < static_cast<std::int32_t>(kFrameOverhead)) return -1;
  if (std::string_view(data, kMagic.size()) != kMagic || data[kVersionAt] != kVersion) return -2;

  // The checksum is looked for at the end of the data, not at the end of the body that the header claims: a frame is
  // accepted only when nothing follows it, which fits an exchange of one request and one reply at a time.
  const std::size_t checksumAt = static_cast<std::size_t>(length) - kChecksumSize;
  if (loadBigEndian<std::uint32_t>(data + checksumAt) != crc32(data, checksumAt)) return -3;

  const std::uint8_t mode = static_cast<std::uint8_t>(data[kTypeAndModeAt]) & 0x0FU;
  info.identifier = loadBigEndian<std::uint32_t>(data + kIdentifierAt);
  info.type = static_cast<std::uint8_t>(static_cast<std::uint8_t>(data[kTypeAndModeAt]) >> 4);
  info.timestamp = loadBigEndian<std::uint64_t>(data + kTimestampAt);
  const std::size_t bodyLength = loadBigEndian<std::uint32_t>(data + kBodyLengthAt);
  if (bodyLength > checksumAt - kBodyAt) return -1;

  info.body.assign(data + kBodyAt, bodyLength);
  if (mode != kModePlain && !recode(info.body, mode, Lz4Direction::kDecompress)) return -4;
  return static_cast<std::int32_t>(kFrameOverhead + bodyLength);
}

std::int32_t CBusProtocol::findAndUnpack(const char* data, std::int32_t length, BusFrameInfo& info) const {
  if (data == nullptr || length < 0) return -1;
  const std::size_t skipped = std::string_view(data, static_cast<std::size_t>(length)).find(kMagic);
  if (skipped == std::string_view::npos) return -1;

  const std::int32_t result = unpack(data + skipped, length - static_cast<std::int32_t>(skipped), info);
  return result < 0 ? result - kFindShift : result + static_cast<std::int32_t>(skipped);
}

}  // namespace cbl
