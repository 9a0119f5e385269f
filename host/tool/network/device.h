#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "bacnet/client/device_client.h"
#include "host/tool/network/station.h"
#include "plant/project.h"

namespace tool {

/// Octets that a value takes in an answer, about, where no more is known of it.
constexpr std::size_t kOctetsOfNumber = 5;
constexpr std::size_t kOctetsOfText = 40;

/// One device, asked and waited for. What could not be asked because the station was stopped counts as unanswered.
class CDevice {
 public:
  /// `station` outlives the device.
  CDevice(CStation& station, bacnet::DeviceSettings settings);
  ~CDevice();
  CDevice(const CDevice&) = delete;
  CDevice& operator=(const CDevice&) = delete;

  /// One outcome an item, in order. Blocks for 3 s where the device does not answer, and as long as the answers take
  /// otherwise.
  std::vector<bacnet::ReadOutcome> read(const std::vector<bacnet::ReadItem>& items);
  std::vector<bacnet::WriteOutcome> write(const std::vector<bacnet::WriteItem>& items);

  const bacnet::DeviceProfile& profile() const { return client_.profile(); }
  bool isStopped() const { return station_.isStopped(); }
  std::size_t countInOneRead(const std::vector<bacnet::ReadItem>& items) const { return client_.countInOneRead(items); }

 private:
  CStation& station_;
  bacnet::CDeviceClient client_;
};

/// The station that a project's link is asked from. `networkInterface` as in StationOptions. Throws CFailure (project)
/// when no connection can be made of the link's parameters.
StationOptions stationFor(const plant::Link& link, const std::string& networkInterface);
bacnet::DeviceSettings deviceOf(const plant::Link& link);

/// A link's device, asked from a station of its own.
struct LinkDevice {
  /// Throws CFailure as stationFor and CStation do.
  LinkDevice(const plant::Link& link, const std::string& networkInterface)
      : station(stationFor(link, networkInterface)), device(station, deviceOf(link)) {}

  CStation station;
  CDevice device;
};

}  // namespace tool
