#pragma once

#include <functional>

#include "bacnet/client/device_state.h"
#include "bacnet/network/network.h"
#include "io/timers.h"

namespace bacnet {

/// Asks where the device is, or which router leads to it: at once, then after 10, 20, 40 ... and every 300 s.
class CDiscovery {
 public:
  using FoundHandler = std::function<void(const Station& station)>;

  CDiscovery(CNetwork& network, io::CTimers& timers, const DeviceSettings& settings, FoundHandler found);

  /// The place that the settings name, if they do; there is nothing to be looked for then.
  std::optional<Station> fixed() const;

  /// Whether a device that says to be there may be the one; behind a router that is given it is heard through that
  /// only.
  bool mayBeAt(const Station& station) const;

  void search();  ///< from the start of the row; nothing if it is under way
  void stop() { timer_.cancel(); }
  bool isSearching() const { return static_cast<bool>(timer_); }

  /// Some router's I-Am-Router-To-Network.
  void onRouter(const io::Address& router, const std::vector<std::uint16_t>& networks);

 private:
  bool needsRouter() const;
  void ask();
  void askForDevice();

  CNetwork& network_;
  io::CTimers& timers_;
  const DeviceSettings& settings_;
  FoundHandler found_;
  std::optional<io::Address> router_;
  io::Duration wait_{};
  io::CTimer timer_;
};

}  // namespace bacnet
