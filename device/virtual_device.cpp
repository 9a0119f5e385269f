#include "device/virtual_device.h"

#include <fmt/format.h>

#include <chrono>

#include "device/object_builder.h"

namespace device {

namespace {

constexpr std::chrono::milliseconds kStep(500);

bacnet::server::Identity identityOf(const plant::Link& link, std::uint32_t deviceId) {
  bacnet::server::Identity identity;
  identity.instance = deviceId;
  identity.name = fmt::format("bacnet-device {}", deviceId);
  identity.vendorName = "bacnet-device";
  identity.vendor = 0;
  identity.model = "virtual device";
  identity.firmware = DEVICE_VERSION;
  identity.software = DEVICE_VERSION;
  identity.description = fmt::format("link {} of a project file", link.linkId);
  return identity;
}

}  // namespace

CVirtualDevice::CVirtualDevice(io::CTimers& timers, const Place& place, const plant::Link& link, std::uint32_t deviceId)
    : timers_(timers),
      start_(timers.now()),
      firstDeviceId_(deviceId),
      script_(timers),
      socket_(place.socket, timers, script_),
      network_(socket_, timers),
      device_(identityOf(link, deviceId)),
      server_(network_, timers, device_, place.broadcast),
      movement_(addObjects(link.points, device_, remarks_)) {
  for (io::CDatagrams* listener : place.listeners) {
    listeners_.push_back(std::make_unique<CFaultyDatagrams>(*listener, timers, script_));
    network_.listen(*listeners_.back());
  }
}

void CVirtualDevice::behave(const Behaviour& behaviour) {
  const std::uint32_t deviceId = behaviour.deviceId.value_or(firstDeviceId_);
  const bool isNew = !wasHeard_ || deviceId != device_.instance();
  wasHeard_ = true;
  script_.load(behaviour.faults, behaviour.seed);
  device_.abilities() = behaviour.abilities;
  device_.setInstance(deviceId);
  nextMove_.cancel();
  if (!behaviour.standsStill) move();
  if (behaviour.restarts) {
    server_.restart();
  } else if (isNew) {
    server_.announce();
  }
}

void CVirtualDevice::tellOrigins() {
  for (const auto& object : device_.objects()) {
    if (object->isCommandable()) object->tellOrigins();
  }
}

void CVirtualDevice::move() {
  movement_.moveTo(std::chrono::duration<double>(timers_.now() - start_).count());
  server_.valuesChanged();
  nextMove_ = timers_.after(kStep, [this] { move(); });
}

}  // namespace device
