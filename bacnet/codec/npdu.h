#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace bacnet {

constexpr std::uint16_t kLocalNetwork = 0;
constexpr std::uint16_t kGlobalNetwork = 65535;

/// A station on a BACnet network: its network's number and its address there. No address is a broadcast on that
/// network.
struct NetworkAddress {
  std::uint16_t network = kLocalNetwork;
  std::string mac;  ///< 0 to 255 octets; 6 on BACnet/IP (address and port), 1 on MS/TP

  friend bool operator==(const NetworkAddress& a, const NetworkAddress& b) {
    return a.network == b.network && a.mac == b.mac;
  }
  friend bool operator<(const NetworkAddress& a, const NetworkAddress& b) {
    return std::tie(a.network, a.mac) < std::tie(b.network, b.mac);
  }
};

/// A message between routers, clause 6.4. `data` is what follows the type and vendor; the functions below read
/// the usual.
struct NetworkMessage {
  std::uint8_t type = 0;
  std::uint16_t vendor = 0;  ///< of the types from 128 on
  std::string_view data;
};

/// The header of the network layer, clause 6.2, and what it carries: `message`, or else the octets of an APDU.
struct Npdu {
  bool expectsReply = false;
  std::uint8_t priority = 0;                  ///< 0 normal to 3 life safety
  std::optional<NetworkAddress> destination;  ///< DNET and DADR
  std::optional<NetworkAddress> source;       ///< SNET and SADR
  std::uint8_t hopCount = 255;                ///< with a destination only
  std::optional<NetworkMessage> message;
  std::string_view apdu;
};

/// Nothing where the bytes are no version 1 header, or name a network or station that cannot be. The views point into
/// `bytes`.
std::optional<Npdu> parseNpdu(std::string_view bytes);
std::string encodeNpdu(const Npdu& npdu);

enum class NetworkMessageType : std::uint8_t {
  kWhoIsRouterToNetwork = 0,
  kIAmRouterToNetwork = 1,
  kRejectMessageToNetwork = 3,
  kRouterBusyToNetwork = 4,
  kRouterAvailableToNetwork = 5,
};

/// The networks that a Who-Is-Router (none: any), I-Am-Router, Router-Busy or Router-Available names.
std::optional<std::vector<std::uint16_t>> parseNetworks(std::string_view data);
std::string encodeNetworks(const std::vector<std::uint16_t>& networks);

/// What a Reject-Message-To-Network says: 1 no route, 2 router busy, 3 unknown message, 4 too long, ...
struct RejectedMessage {
  std::uint8_t reason = 0;
  std::uint16_t network = 0;
};
std::optional<RejectedMessage> parseRejectedMessage(std::string_view data);
std::string encodeRejectedMessage(const RejectedMessage& rejected);

}  // namespace bacnet
