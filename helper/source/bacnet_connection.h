#pragma once

#include <functional>
#include <memory>
#include <string>

#include "bacnet/client/device_client.h"
#include "bacnet/network/network.h"
#include "helper/source/bacnet_source.h"

namespace helper {

/// A link's sockets and the client of its device on them.
struct CBacnetSource::Connection {
  /// `hasOwnPort`: what comes to it alone is the device's, if that is at a given address: it may answer from another
  /// one.
  Connection(std::unique_ptr<io::CDatagrams> opened, io::CTimers& timers, const LinkSettings& settings, bool hasOwnPort,
             const Log& log);

  std::unique_ptr<io::CDatagrams> sockets;
  bacnet::CNetwork network;
  bacnet::CDeviceClient client;
};

}  // namespace helper
