#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "bacnet/client/device_text.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"
#include "host/tool/examine/device_examination.h"
#include "host/tool/failure.h"
#include "host/tool/network/port_holders.h"

namespace tool {

namespace {

using namespace std::chrono_literals;

constexpr io::Duration kIAmsCome = 2s;

std::string textOf(const std::vector<bacnet::Station>& places) {
  std::string text;
  for (const bacnet::Station& each : places) text += (text.empty() ? "" : " and ") + bacnet::stationText(each);
  return text;
}

}  // namespace

std::string CDeviceExamination::placeText() const {
  return bacnet::stationText(*place_);
}

// Result: whether there was any answer, be it an error. What the device calls itself is noted.
bool CDeviceExamination::answersTo(std::optional<std::uint32_t> instance) {
  bacnet::DeviceSettings settings;
  settings.deviceId = instance;
  settings.station = place_;
  CDevice device(*station_, settings);
  const bacnet::ObjectId self{bacnet::object_type::kDevice, instance.value_or(bacnet::kLargestInstance)};
  const auto outcome = device.read({{{self, {bacnet::property::kObjectIdentifier, {}}}, 5}}).front();
  if (const auto* failure = std::get_if<bacnet::Failure>(&outcome)) {
    return failure->kind != bacnet::Failure::Kind::kSilent && failure->kind != bacnet::Failure::Kind::kUnreachable;
  }
  const auto& values = std::get<bacnet::Values>(outcome);
  const auto* id = values.size() == 1 ? std::get_if<bacnet::ObjectId>(&values.front()) : nullptr;
  if (id != nullptr && id->type == bacnet::object_type::kDevice) number_ = id->instance;
  return true;
}

Finding CDeviceExamination::peer() {
  if (!place_) return ok("no address is given: the device is searched for");
  // Every device is to take the largest number as its own; some know their real one only.
  const auto& expected = settings_->device.deviceId;
  const bool answers = answersTo(std::nullopt) || (expected && !station_->isRefused(place_->address) &&
                                                   !station_->isStopped() && answersTo(expected));
  if (!answers) return silentPeer();
  return ok(placeText() + " answers" + (number_ ? fmt::format(" as device {}", *number_) : ""));
}

// Why, as far as this machine can tell.
Finding CDeviceExamination::silentPeer() const {
  const io::Address& address = place_->address;
  const std::string ip = io::ipText(address.ip);
  const auto status = ExitStatus::kUnreachable;
  if (station_->isRefused(address))
    return failed(status, fmt::format("{} is there, but nobody listens at its UDP port {}", ip, address.port),
                  "check DesPort, and whether BACnet/IP is turned on in the device");
  const Neighbour neighbour = neighbourAt(address.ip);
  if (neighbour.kind == Neighbour::kMissing)
    return failed(status, fmt::format("nobody on this network has the address {}", ip),
                  "check Ip, the device's power and its network cable");
  if (place_->remote)
    return failed(status, placeText() + " does not answer", "check Network and VirtualMac, and the device's power");
  if (neighbour.kind == Neighbour::kPresent)
    return failed(status,
                  fmt::format("{} is there ({}), but its UDP port {} does not answer", ip, neighbour.mac, address.port),
                  "check DesPort, and whether the device or a firewall keeps this machine out");
  return failed(status, placeText() + " does not answer",
                "check Ip, its power and the network between: 'ping' tells whether the machine is there");
}

// Asks whoever is at the link's address and, everywhere, for the link's DeviceId.
Finding CDeviceExamination::iAm() {
  const bacnet::DeviceSettings& device = settings_->device;
  Search search;
  search.place = place_;
  const std::uint32_t asked = device.deviceId ? *device.deviceId : number_.value_or(bacnet::kLargestInstance);
  search.range.emplace(asked, asked);
  search.router = device.router;
  if (device.router) search.network = device.network;
  search.patience = kIAmsCome;

  std::vector<std::uint32_t> there;
  std::vector<bacnet::Station> others;
  for (const FoundDevice& each : searchDevices(*station_, search)) {
    if (place_ && each.station == *place_)
      there.push_back(each.iAm.device);
    else
      others.push_back(each.station);
  }
  return judgeIdentity(there, others);
}

Finding CDeviceExamination::judgeIdentity(const std::vector<std::uint32_t>& there,
                                          const std::vector<bacnet::Station>& others) {
  const auto& expected = settings_->device.deviceId;
  if (place_) {
    const bool isSaid = !there.empty();
    const bool isIt = expected && std::count(there.begin(), there.end(), *expected) > 0;
    if (isSaid) number_ = isIt ? *expected : there.front();
    if (!number_) number_ = expected;
    if (expected && *number_ != *expected)
      return failed(ExitStatus::kProject,
                    fmt::format("device {} is at {}, not {}{}", *number_, placeText(), *expected,
                                others.empty() ? "" : ", which is at " + textOf(others)),
                    fmt::format("write {} as DeviceId, or the right device's address", *number_));
    if (!isSaid && others.empty())
      return warning("it does not answer Who-Is", "nothing to do while Ip is given: without it it would not be found");
    return theOneAt(*place_, others);
  }
  if (others.empty())
    return failed(
        ExitStatus::kUnreachable, fmt::format("no device says that it is {}", *expected),
        "check DeviceId, its power and --interface; behind routers write Network, a BBMD's address or its own Ip");
  number_ = expected;
  place_ = others.front();
  return theOneAt(*place_, std::vector<bacnet::Station>(others.begin() + 1, others.end()));
}

Finding CDeviceExamination::theOneAt(const bacnet::Station& place, const std::vector<bacnet::Station>& others) {
  const std::string which = number_ ? fmt::format("device {}", *number_) : "a device without a number";
  if (others.empty()) return ok(fmt::format("{} is at {}", which, bacnet::stationText(place)));
  const std::string detail = fmt::format("{} is at {}, and another one of that number at {}", which,
                                         bacnet::stationText(place), textOf(others));
  const char* const remedy = "give each device a number of its own";
  const bool isGiven = settings_->device.station.has_value();
  return isGiven ? warning(detail, remedy) : failed(ExitStatus::kUnreachable, detail, remedy);
}

}  // namespace tool
