#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "cbl/bus/bus_message.h"

namespace cbl {

/// What a received frame carried.
struct BusFrameInfo {
  std::uint8_t type = 0;
  std::string body;  ///< after decompression
  std::uint32_t identifier = 0;
  std::uint64_t timestamp = 0;  ///< microseconds since 1970-01-01 00:00:00 UTC, by the sender's clock
};

/// Wraps message bodies into frames and finds frames in received bytes. The frame's layout is written down in
/// docs/bus-protocol.md. Knows no socket. `pack` and `packAs` may run on several threads at once; the others keep no
/// state.
class CBusProtocol {
 public:
  CBusProtocol();
  virtual ~CBusProtocol();

  CBusProtocol(const CBusProtocol&) = delete;
  CBusProtocol& operator=(const CBusProtocol&) = delete;

  /// Replaces `frame` by the frame of `message`. A negative `identifier` takes the next of this object's own counter.
  /// Result: the frame's length in bytes; -1 when the body cannot be made, compressed, or framed (`frame` is then of no
  /// use).
  std::int32_t pack(const CBusMessage& message, std::string& frame, std::int32_t identifier);

  /// The same with exactly `identifier`, in all of its range: for a reply, which repeats its request's.
  std::int32_t packAs(const CBusMessage& message, std::string& frame, std::uint32_t identifier);

  /// Reads the frame that starts at `data` and ends exactly at `data + length`. Result: the frame's length in bytes, or
  ///   -1  null, fewer than 28 bytes, or a carried length beyond the bytes available (`info.body` is untouched)
  ///   -2  wrong magic or version      -3  wrong checksum      -4  the compressed body is damaged
  std::int32_t unpack(const char* data, std::int32_t length, BusFrameInfo& info) const;

  /// Reads the frame behind any number of foreign bytes; again the frame must end where the data ends.
  /// Result: the bytes to drop from the front, through the frame's end; -1 no magic; `unpack`'s code minus 16.
  std::int32_t findAndUnpack(const char* data, std::int32_t length, BusFrameInfo& info) const;

 private:
  std::int32_t build(const CBusMessage& message, std::string& out, std::optional<std::uint32_t> identifier);
  std::uint32_t nextOfSequence();

  std::int32_t compressionThreshold_;  // bytes; bodies of at least this many are compressed
  std::uint8_t compressionMode_;
  std::atomic<std::int32_t> sequence_;
};

}  // namespace cbl
