#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "bacnet/client/device_client.h"
#include "bacnet/network/network.h"
#include "host/tool/console/interrupt.h"
#include "host/tool/network/station_sockets.h"
#include "io/event_loop.h"

namespace tool {

struct StationOptions {
  std::string networkInterface;                ///< that broadcasts go out of; empty: all but the loopback
  std::uint16_t port = bacnet::kStandardPort;  ///< that broadcasts go to, and where they are heard
  std::optional<io::Address> bbmd;             ///< registered at as a foreign device
};

/// This program as a BACnet station of its own: neither plug-in nor helper take part. While it lives, Ctrl-C is noted
/// and ends each wait. Used by one thread; others may have stations of their own.
class CStation {
 public:
  /// Throws CFailure: usage when there is no such interface, unreachable when there is no socket to be had, or when the
  /// BBMD refuses or does not answer within 3 s.
  explicit CStation(const StationOptions& options);
  CStation(const CStation&) = delete;
  CStation& operator=(const CStation&) = delete;

  bacnet::CNetwork& network() { return network_; }
  io::CTimers& timers() { return loop_; }
  io::Address broadcast() const { return {io::kBroadcastIp, port_}; }

  /// Serves the network until `isDone`, which is looked at again after each `wake`, until `limit` has passed, or until
  /// it is stopped. Result: whether it is done.
  bool waitFor(const std::function<bool()>& isDone, io::Duration limit);
  void wake() { loop_.stop(0); }
  /// Has `isStopped` stop the station as Ctrl-C does; it is looked at ten times a second.
  void stopWhen(std::function<bool()> isStopped) { stopped_ = std::move(isStopped); }
  bool isStopped() const { return isInterrupted() || (stopped_ && stopped_()); }

  /// Hands on what comes in until it is taken back.
  void attach(bacnet::CDeviceClient& client) { clients_.insert(&client); }
  void detach(bacnet::CDeviceClient& client) { clients_.erase(&client); }
  void onApdu(bacnet::CNetwork::ApduHandler handler) { listener_ = std::move(handler); }
  void onMessage(bacnet::CNetwork::MessageHandler handler) { messageListener_ = std::move(handler); }
  /// Whether a machine has said that nobody listens at this port of it.
  bool isRefused(const io::Address& address) const { return refused_.count(address) > 0; }
  /// Whether broadcasts have an interface to go out of, or a BBMD that spreads them.
  bool canBroadcast() const { return sockets_.canBroadcast() || isForeign_; }

 private:
  void listen();
  void registerAt(const io::Address& bbmd);

  std::uint16_t port_;
  bool isForeign_;
  CInterruptNote note_;
  io::CEventLoop loop_;
  CStationSockets sockets_;
  bacnet::CNetwork network_;
  std::set<bacnet::CDeviceClient*> clients_;
  bacnet::CNetwork::ApduHandler listener_;
  std::function<bool()> stopped_;
  bacnet::CNetwork::MessageHandler messageListener_;
  std::set<io::Address> refused_;
};

}  // namespace tool
