#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "bacnet/client/device_client.h"
#include "io/address.h"
#include "plant/project.h"

namespace binding {

/// A link's "BACnet" element, understood. Where datagrams go to first is `peer`: the device, its router, or the BBMD;
/// none while the device has to be found.
struct LinkSettings {
  std::uint16_t localPort = bacnet::kStandardPort;
  std::uint16_t remotePort = bacnet::kStandardPort;
  std::optional<io::Address> peer;
  std::optional<io::Address> bbmd;  ///< to register at as a foreign device
  bacnet::DeviceSettings device;
  enum class Changes { kPoll, kUnconfirmed, kConfirmed } changes = Changes::kPoll;
  std::string remark;  ///< for the log: what was taken otherwise than it stands there; empty if nothing was
};

/// Result: nothing with a one-line `error` when no connection can be made of it; see docs/project-file.md.
std::optional<LinkSettings> readLinkSettings(const plant::Link& link, std::string& error);

/// The octets that "VirtualMac" writes, by "MacLen": hexadecimal with or without ':' or '-'; decimal 0 to 255 if it is
/// 1; an address with port if it is 6. A `length` of 0: as long as the text. Result: nothing when the text is none of
/// these.
std::optional<std::string> parseMac(const std::string& text, std::int32_t length);

}  // namespace binding
