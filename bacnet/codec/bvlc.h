#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "io/address.h"

namespace bacnet {

enum class BvlcFunction : std::uint8_t {
  kResult = 0,
  kWriteBroadcastTable = 1,
  kReadBroadcastTable = 2,
  kReadBroadcastTableAck = 3,
  kForwardedNpdu = 4,
  kRegisterForeignDevice = 5,
  kReadForeignTable = 6,
  kReadForeignTableAck = 7,
  kDeleteForeignEntry = 8,
  kDistributeBroadcast = 9,
  kOriginalUnicast = 10,
  kOriginalBroadcast = 11,
};

/// The BACnet virtual link control header, Annex J.2, and what it carries.
struct Bvlc {
  BvlcFunction function = BvlcFunction::kOriginalUnicast;
  std::uint16_t result = 0;      ///< of kResult; 0 is success
  std::uint16_t timeToLive = 0;  ///< of kRegisterForeignDevice, s
  io::Address origin;            ///< of kForwardedNpdu: whom it came from first
  std::string_view npdu;         ///< of the four that carry one; of the others what follows the header
};

/// Nothing where the bytes are no BVLC of type 0x81, the length is not theirs, or a fixed field is missing.
std::optional<Bvlc> parseBvlc(std::string_view bytes);
std::string encodeBvlc(const Bvlc& bvlc);

/// The six octets that BACnet/IP uses as a station's address: the address, then the port.
std::string macOf(const io::Address& address);
std::optional<io::Address> addressOf(std::string_view mac);

}  // namespace bacnet
