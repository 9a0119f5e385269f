#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bacnet/network/network.h"
#include "bacnet/server/server.h"
#include "device/behaviour.h"
#include "device/fault_script.h"
#include "device/faulty_datagrams.h"
#include "device/movement.h"
#include "io/datagrams.h"
#include "io/timers.h"
#include "plant/project.h"

namespace device {

/// Where a device lives: its socket, others that hear broadcasts for it, and the address that its own go to. All
/// outlive the device.
struct Place {
  io::CDatagrams& socket;
  std::vector<io::CDatagrams*> listeners;
  io::Address broadcast;
};

/// The device that a project's link talks to. One thread, never blocks.
class CVirtualDevice {
 public:
  CVirtualDevice(io::CTimers& timers, const Place& place, const plant::Link& link, std::uint32_t deviceId);

  /// Takes a behaviour in the place of the last one; says I-Am at the first one, when the device's number becomes
  /// another, and when it restarts.
  void behave(const Behaviour& behaviour);

  /// Has its commanded objects tell who commands each priority.
  void tellOrigins();

  std::uint32_t deviceId() const { return device_.instance(); }
  std::size_t objectCount() const { return device_.objects().size(); }
  /// Points that a device answers with an error, a line each.
  const std::vector<std::string>& remarks() const { return remarks_; }

 private:
  void move();

  io::CTimers& timers_;
  const io::TimePoint start_;
  const std::uint32_t firstDeviceId_;
  CFaultScript script_;
  CFaultyDatagrams socket_;
  std::vector<std::unique_ptr<CFaultyDatagrams>> listeners_;
  bacnet::CNetwork network_;
  bacnet::server::CDevice device_;
  bacnet::server::CServer server_;
  std::vector<std::string> remarks_;
  CMovement movement_;
  bool wasHeard_ = false;
  io::CTimer nextMove_;
};

}  // namespace device
