#pragma once

#include <algorithm>
#include <functional>
#include <string>

#include "bacnet/client/device_client.h"
#include "bacnet/client/transactions.h"

namespace bacnet {

/// What the parts of a device's client share.
struct DeviceState {
  DeviceSettings settings;
  DeviceProfile profile;
  Failure failure;  ///< of what has had no answer, and while the device is silent of everything
  CDeviceClient::EventHandler event;

  bool isRouted() const { return profile.station && profile.station->remote.has_value(); }
  /// Octets of an APDU, in either direction.
  std::size_t largestApdu() const { return std::min(profile.maxApdu, isRouted() ? kRoutedMaxApdu : kOwnMaxApdu); }
  void tell(const std::string& line) const {
    if (event) event(line);
  }
};

}  // namespace bacnet
