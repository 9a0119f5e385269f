#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "bacnet/client/device_client.h"
#include "bacnet/network/network.h"
#include "helper/source/bacnet_source.h"
#include "io/timers.h"

namespace helper {

/// A link's sockets and the client of its device on them.
struct CBacnetSource::Connection {
  /// `hasOwnPort`: what comes to it alone is the device's, if that is at a given address: it may answer from another
  /// one.
  Connection(std::unique_ptr<io::CDatagrams> opened, io::CTimers& timers, const LinkSettings& settings, bool hasOwnPort,
             const Log& log);

  void onRegistered(std::uint16_t result);
  void expectResult(io::Duration within);

  Log log;
  io::CTimers& timers;
  std::optional<io::Address> bbmd;
  std::optional<std::uint16_t> lastResult = 0;  // of a registration; none while the BBMD does not answer
  io::CTimer resultLacks;
  std::unique_ptr<io::CDatagrams> sockets;
  bacnet::CNetwork network;
  bacnet::CDeviceClient client;
};

}  // namespace helper
