#include "cbl/bus/bus_protocol.h"

#include <chrono>
#include <cstring>
#include <limits>
#include <string_view>

#include "cbl/bus/big_endian.h"
#include "cbl/bus/crc32.h"
#include "cbl/bus/frame_layout.h"
#include "cbl/z/lz4_buffer.h"

namespace cbl {

namespace {

constexpr std::int32_t kFindShift = 16;  // keeps a failed unpack visible behind findAndUnpack

std::uint64_t microsecondsNow() {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch).count());
}

// Replaces `body` by its compressed or decompressed form; a mode other than LZ4 leaves it as it is.
bool recode(std::string& body, std::uint8_t mode, Lz4Direction direction) {
  if (mode != frame::kModeLz4) return true;
  std::string recoded;
  if (lz4Buffer(body, recoded, direction) < 0) return false;
  body.swap(recoded);
  return true;
}

}  // namespace

CBusProtocol::CBusProtocol() : compressionThreshold_(1024), compressionMode_(frame::kModeLz4), sequence_(0) {}

CBusProtocol::~CBusProtocol() = default;

std::int32_t CBusProtocol::pack(const CBusMessage& message, std::string& frame, std::int32_t identifier) {
  const auto wanted = static_cast<std::uint32_t>(identifier);
  return build(message, frame, identifier < 0 ? std::nullopt : std::make_optional(wanted));
}

std::int32_t CBusProtocol::packAs(const CBusMessage& message, std::string& frame, std::uint32_t identifier) {
  return build(message, frame, identifier);
}

std::uint32_t CBusProtocol::nextOfSequence() {
  // Not one atomic step at the wrap: two threads there may both miss it, which is accepted.
  const std::int32_t number = sequence_.fetch_add(1);
  if (sequence_.load() == std::numeric_limits<std::int32_t>::max()) sequence_.store(0);
  return static_cast<std::uint32_t>(number);
}

// Without an identifier it takes the next of the counter.
std::int32_t CBusProtocol::build(const CBusMessage& message, std::string& out,
                                 std::optional<std::uint32_t> identifier) {
  const std::int32_t bodyLength = message.dump(out);  // the rest is put around it
  if (bodyLength < 0) return -1;

  const std::uint8_t mode = compressionThreshold_ > bodyLength ? frame::kModePlain : compressionMode_;

  const std::uint32_t number = identifier ? *identifier : nextOfSequence();

  if (!recode(out, mode, Lz4Direction::kCompress)) return -1;
  const std::size_t carried = out.size();
  if (carried > std::numeric_limits<std::int32_t>::max() - frame::kOverhead) return -1;

  out.resize(frame::kOverhead + carried);
  char* const at = out.data();
  std::memmove(at + frame::kBodyAt, at, carried);
  std::memset(at, 0, frame::kBodyAt);
  std::memcpy(at, frame::kMagic.data(), frame::kMagic.size());
  at[frame::kVersionAt] = frame::kVersion;
  storeBigEndian(at + frame::kIdentifierAt, number);
  at[frame::kTypeAndModeAt] = static_cast<char>(((message.getType() & 0x0FU) << 4) | (mode & 0x0FU));
  storeBigEndian(at + frame::kTimestampAt, microsecondsNow());
  storeBigEndian(at + frame::kBodyLengthAt, static_cast<std::uint32_t>(carried));

  const std::size_t checksumAt = frame::kBodyAt + carried;
  storeBigEndian(at + checksumAt, crc32(at, checksumAt));
  return static_cast<std::int32_t>(out.size());
}

std::int32_t CBusProtocol::unpack(const char* data, std::int32_t length, BusFrameInfo& info) const {
  if (data == nullptr || length < static_cast<std::int32_t>(frame::kOverhead)) return -1;
  const std::string_view magic(data, frame::kMagic.size());
  if (magic != frame::kMagic || data[frame::kVersionAt] != frame::kVersion) return -2;

  // The checksum is looked for at the end of the data, not at the end of the body that the header claims: a frame is
  // accepted only when nothing follows it, which fits an exchange of one request and one reply at a time.
  const std::size_t checksumAt = static_cast<std::size_t>(length) - frame::kChecksumSize;
  if (loadBigEndian<std::uint32_t>(data + checksumAt) != crc32(data, checksumAt)) return -3;

  const std::uint8_t mode = static_cast<std::uint8_t>(data[frame::kTypeAndModeAt]) & 0x0FU;
  info.identifier = loadBigEndian<std::uint32_t>(data + frame::kIdentifierAt);
  info.type = static_cast<std::uint8_t>(static_cast<std::uint8_t>(data[frame::kTypeAndModeAt]) >> 4);
  info.timestamp = loadBigEndian<std::uint64_t>(data + frame::kTimestampAt);
  const std::size_t bodyLength = loadBigEndian<std::uint32_t>(data + frame::kBodyLengthAt);
  if (bodyLength > checksumAt - frame::kBodyAt) return -1;

  info.body.assign(data + frame::kBodyAt, bodyLength);
  if (mode != frame::kModePlain && !recode(info.body, mode, Lz4Direction::kDecompress)) return -4;
  return static_cast<std::int32_t>(frame::kOverhead + bodyLength);
}

std::int32_t CBusProtocol::findAndUnpack(const char* data, std::int32_t length, BusFrameInfo& info) const {
  if (data == nullptr || length < 0) return -1;
  const std::size_t skipped = std::string_view(data, static_cast<std::size_t>(length)).find(frame::kMagic);
  if (skipped == std::string_view::npos) return -1;

  const std::int32_t result = unpack(data + skipped, length - static_cast<std::int32_t>(skipped), info);
  return result < 0 ? result - kFindShift : result + static_cast<std::int32_t>(skipped);
}

}  // namespace cbl
