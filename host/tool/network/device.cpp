#include "host/tool/network/device.h"

#include <fmt/format.h>

#include <memory>
#include <optional>
#include <utility>

#include "binding/link_settings.h"
#include "host/tool/failure.h"

namespace tool {

namespace {

using namespace std::chrono_literals;

constexpr io::Duration kDevicePatience = 3s;     // for the first answer
constexpr io::Duration kPatienceAnItem = 500ms;  // for a device behind a slow bus

binding::LinkSettings settingsOf(const plant::Link& link) {
  std::string error;
  if (auto settings = binding::readLinkSettings(link, error)) return *settings;
  throw CFailure(ExitStatus::kProject, fmt::format("link {}: {}", link.linkId, error), "'hmi-host check' tells more");
}

}  // namespace

CDevice::CDevice(CStation& station, bacnet::DeviceSettings settings)
    : station_(station), client_(station.network(), station.timers(), std::move(settings)) {
  station_.attach(client_);
}

CDevice::~CDevice() {
  station_.detach(client_);
}

// What `call` hands to its callback; `count` failures when it does not come.
template <typename Outcome, typename Failed, typename Call>
std::vector<Outcome> waitedFor(CStation& station, std::size_t count, const Failed& failed, const Call& call) {
  const io::Duration limit = kDevicePatience + kPatienceAnItem * count;
  const auto result = std::make_shared<std::optional<std::vector<Outcome>>>();
  call(station.timers().now() + limit, [result, &station](std::vector<Outcome> outcomes) {
    *result = std::move(outcomes);
    station.wake();
  });
  station.waitFor([&] { return result->has_value(); }, limit + 1s);
  return result->has_value() ? std::move(**result) : std::vector<Outcome>(count, failed);
}

std::vector<bacnet::ReadOutcome> CDevice::read(const std::vector<bacnet::ReadItem>& items) {
  return waitedFor<bacnet::ReadOutcome>(station_, items.size(), bacnet::Failure{}, [&](auto deadline, auto done) {
    client_.read(items, deadline, std::move(done));
  });
}

std::vector<bacnet::WriteOutcome> CDevice::write(const std::vector<bacnet::WriteItem>& items) {
  return waitedFor<bacnet::WriteOutcome>(station_, items.size(), bacnet::Failure{}, [&](auto deadline, auto done) {
    client_.write(items, deadline, std::move(done));
  });
}

StationOptions stationFor(const plant::Link& link, const std::string& networkInterface) {
  const binding::LinkSettings settings = settingsOf(link);
  return {networkInterface, settings.remotePort, settings.bbmd};
}

bacnet::DeviceSettings deviceOf(const plant::Link& link) {
  return settingsOf(link).device;
}

}  // namespace tool
