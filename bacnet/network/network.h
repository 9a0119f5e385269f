#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <tuple>

#include "bacnet/codec/apdu.h"
#include "bacnet/codec/npdu.h"
#include "io/datagrams.h"
#include "io/timers.h"

namespace bacnet {

constexpr std::uint16_t kStandardPort = 47808;

/// Where a device is reached: the address that datagrams go to and, behind a router there, its network and address.
struct Station {
  io::Address address;
  std::optional<NetworkAddress> remote;

  friend bool operator==(const Station& a, const Station& b) { return a.address == b.address && a.remote == b.remote; }
  friend bool operator<(const Station& a, const Station& b) {
    return std::tie(a.address, a.remote) < std::tie(b.address, b.remote);
  }
};

/// What is known of a message that came in. `station` is whom to answer: for a forwarded one its origin, for a routed
/// one the router and the sender behind it.
struct Incoming {
  Station station;
  io::Address datagramFrom;  ///< the UDP source, whoever it spoke for
  bool isBroadcast = false;  ///< a broadcast is never answered by an error
  bool expectsReply = false;
};

/// BACnet/IP as a station that is no router: BVLC and NPDU around APDUs, in and out, on one thread. Datagrams that are
/// none of BACnet/IP's are dropped and counted, never answered.
class CNetwork {
 public:
  using ApduHandler = std::function<void(const Incoming& from, const Apdu& apdu)>;  ///< views are valid during the call
  using MessageHandler = std::function<void(const Incoming& from, const NetworkMessage& message)>;
  /// A BVLC-Result: 0 for a registration that was taken, 0x30 for one that was refused.
  using ResultHandler = std::function<void(const io::Address& from, std::uint16_t result)>;

  /// What is sent goes out of `datagrams`; both outlive the network.
  CNetwork(io::CDatagrams& datagrams, io::CTimers& timers);
  ~CNetwork();
  CNetwork(const CNetwork&) = delete;
  CNetwork& operator=(const CNetwork&) = delete;

  /// Takes in what another socket hears, too (broadcasts, where the first one is connected to its peer).
  void listen(io::CDatagrams& datagrams);

  void onApdu(ApduHandler handler);
  void onMessage(MessageHandler handler);
  void onResult(ResultHandler handler);

  /// Datagrams that came in and meant nothing to a station: none of BACnet/IP's, cut, or for a router or BBMD.
  std::uint64_t dropped() const;

  void send(const Station& to, const Apdu& apdu, bool expectsReply);
  /// To everybody on the network at hand (`broadcast` is its broadcast address and port), through the BBMD where this
  /// station is registered as a foreign device; `network` is kLocalNetwork, kGlobalNetwork or one behind a router.
  void broadcast(const io::Address& broadcast, std::uint16_t network, const Apdu& apdu);
  /// To everybody on `remote`'s network, by unicast to its router.
  void broadcastThrough(const io::Address& router, std::uint16_t network, const Apdu& apdu);
  /// Who-Is-Router-To-Network, to everybody at hand.
  void askForRouter(const io::Address& broadcast, std::uint16_t network);
  /// The same to one router alone.
  void askRouter(const io::Address& router, std::uint16_t network);

  /// Registers at `bbmd` at once and every `again` anew, until the network is destroyed or another one is named.
  void registerForeignDevice(const io::Address& bbmd, std::uint16_t secondsToLive, io::Duration again);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace bacnet
