#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "bacnet/client/device_client.h"
#include "bacnet/service/discovery.h"
#include "host/tool/network/station.h"

namespace tool {

/// Whom to ask for, and how far.
struct Search {
  std::optional<std::pair<std::uint32_t, std::uint32_t>> range;  ///< of device instances, both ends included
  std::uint16_t network = bacnet::kGlobalNetwork;                ///< kLocalNetwork: the one at hand only
  std::optional<io::Address> router;                             ///< asked by unicast, instead of a broadcast
  std::optional<bacnet::Station> place;  ///< asked beside them: whoever is there, whatever its instance
  io::Duration patience{};               ///< how long answers are waited for
};

/// A device that answered.
struct FoundDevice {
  bacnet::Station station;
  bacnet::IAm iAm;
  bool isDuplicate = false;  ///< another one has the same instance
};

/// Who-Is, sent three times within the first half of the wait, and those that answered, by instance and place. Ends
/// early with Ctrl-C, and then gives what was found.
std::vector<FoundDevice> searchDevices(CStation& station, const Search& search);

/// What a found device says of itself beyond its I-Am; texts are empty where it does not answer.
struct DeviceDetails {
  FoundDevice device;
  bool isAsked = false;  ///< otherwise Ctrl-C came first
  bool isAnswering = false;
  std::string name;
  std::string model;
  bacnet::BitString services;  ///< protocol-services-supported

  bool takes(std::uint32_t serviceBit) const { return serviceBit < services.bits.size() && services.bits[serviceBit]; }
};

/// Asks them all, a few at a time. Ends early with Ctrl-C.
std::vector<DeviceDetails> readDetails(CStation& station, const std::vector<FoundDevice>& devices);

/// For a client of it; batches are tried and given up where the device does not take them.
bacnet::DeviceSettings settingsOf(const FoundDevice& device);

}  // namespace tool
