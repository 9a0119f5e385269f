#pragma once

#include <memory>
#include <string>
#include <vector>

#include "io/datagrams.h"
#include "io/network_interfaces.h"
#include "io/udp_datagrams.h"

namespace tool {

/// The sockets of a BACnet station that others share the machine with: one of a free port, which requests leave from
/// and answers come to, and for each interface one that hears broadcasts to the standard port. Seen from outside it is
/// one socket that hears all of it.
class CStationSockets : public io::CDatagrams {
 public:
  /// `interfaces` are those that a broadcast goes out of. Throws std::system_error where no socket is to be had.
  CStationSockets(io::CEventLoop& loop, std::vector<io::NetworkInterface> interfaces, std::uint16_t port);

  /// To 255.255.255.255: to every interface's own broadcast address.
  void send(const io::Address& to, std::string_view bytes) override;
  void onReceive(ReceiveHandler handler) override;
  void onRefused(RefusedHandler handler) override { own_.onRefused(std::move(handler)); }
  io::Address local() const override { return own_.local(); }

  bool canBroadcast() const { return !interfaces_.empty(); }
  /// Broadcast addresses whose port another program keeps for itself: a device that answers by a broadcast is not
  /// heard.
  const std::vector<std::string>& deaf() const { return deaf_; }

 private:
  std::vector<io::NetworkInterface> interfaces_;
  io::CUdpDatagrams own_;
  std::vector<std::unique_ptr<io::CUdpDatagrams>> listeners_;
  std::vector<std::string> deaf_;
};

}  // namespace tool
