#include <cstddef>
#include <cstdint>
#include <string>

#include "cbl/bus/big_endian.h"
#include "cbl/bus/bus_protocol.h"
#include "cbl/bus/frame_layout.h"
#include "cbl/bus/velix_message.h"
#include "fuzz/check.h"
#include "support/frame_encoder.h"

namespace {

using cbl::frame::kBodyLengthAt;
using cbl::frame::kOverhead;
using cbl::frame::kReservedAt;

constexpr char kKeepLength = 1;
constexpr char kKeepChecksum = 2;

// Makes length and checksum right, so that the body is reached; bits of the first reserved byte, which no reader looks
// at, leave one of them as it is.
void repair(std::string& frame) {
  if (frame.size() < kOverhead) return;
  if ((frame[kReservedAt] & kKeepLength) == 0) {
    cbl::storeBigEndian(frame.data() + kBodyLengthAt, static_cast<std::uint32_t>(frame.size() - kOverhead));
  }
  if ((frame[kReservedAt] & kKeepChecksum) == 0) support::sealFrame(frame);
}

}  // namespace

// A frame is found at once or behind foreign bytes with the same result, and a body that was taken travels unchanged.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string frame(reinterpret_cast<const char*>(data), size);
  repair(frame);
  const auto length = static_cast<std::int32_t>(frame.size());

  cbl::CBusProtocol protocol;
  cbl::BusFrameInfo info;
  const std::int32_t unpacked = protocol.unpack(frame.data(), length, info);
  FUZZ_CHECK(unpacked >= -4 && unpacked <= length && unpacked != 0);

  const std::string shifted = "VL\xff" + frame;
  cbl::BusFrameInfo found;
  const std::int32_t consumed = protocol.findAndUnpack(shifted.data(), length + 3, found);
  if (unpacked < 0) {
    FUZZ_CHECK(consumed != 0);
    return 0;
  }
  FUZZ_CHECK(consumed == unpacked + 3 && found.body == info.body && found.identifier == info.identifier);
  FUZZ_CHECK(found.type == info.type && found.timestamp == info.timestamp && info.type < 16);

  cbl::CVelixMessage message;
  if (message.load(info.body) < 0 || message.empty()) return 0;
  message.setType(info.type);
  const std::int32_t packed = protocol.packAs(message, frame, info.identifier);
  FUZZ_CHECK(packed == static_cast<std::int32_t>(frame.size()));
  FUZZ_CHECK(protocol.unpack(frame.data(), packed, found) == packed && found.type == info.type);
  FUZZ_CHECK(found.identifier == info.identifier);
  cbl::CVelixMessage again;
  FUZZ_CHECK(again.load(found.body) > 0);
  FUZZ_CHECK(static_cast<std::vector<std::string>&>(again) == message);
  return 0;
}
