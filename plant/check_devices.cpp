#include "plant/check_rules.h"

namespace plant {

namespace {

constexpr std::int64_t kUsualPort = 47808;

std::int64_t numberIn(const pugi::xml_node& bacnet, const char* element) {
  return wholeNumber(bacnet.child(element).text().as_string()).value_or(0);
}

}  // namespace

// The place of one device; nothing where a link does not tell it: its device is searched for, or is beyond a BBMD.
std::optional<CDeviceCheck::Place> CDeviceCheck::placeOf(const pugi::xml_node& bacnet) {
  const auto ip = parseIp(bacnet.child("Ip").text().as_string());
  const std::int64_t network = numberIn(bacnet, "Network");
  const auto mac = octetsOf(bacnet.child("VirtualMac").text().as_string(), numberIn(bacnet, "MacLen"));
  if (!ip || numberIn(bacnet, "Mode") == kForeign || (network != 0 && !mac)) return std::nullopt;
  const std::int64_t port = numberIn(bacnet, "DesPort");
  return Place{*ip, port == 0 ? kUsualPort : port, network, network == 0 ? std::string() : *mac};
}

void CDeviceCheck::add(const pugi::xml_node& bacnet, std::int32_t link, CProblems& problems) {
  const Known own = {link, problems.lineOf(bacnet)};
  const auto taken = [&](const Known& by) {
    return " is that of link " + std::to_string(by.link) + " in line " + std::to_string(by.line) + ", too";
  };
  const std::int64_t device = numberIn(bacnet, "DeviceId");
  const auto place = placeOf(bacnet);
  const bool isKnown = device > 0 && device < kWildcardInstance;
  const auto sameDevice = isKnown ? byDevice_.emplace(device, own) : std::pair(byDevice_.end(), true);
  const auto samePlace = place ? byPlace_.emplace(*place, own) : std::pair(byPlace_.end(), true);

  problems.enter(link, "BACnet");
  if (!sameDevice.second)
    problems.warning(bacnet.child("DeviceId"), "DeviceId " + std::to_string(device) + taken(sameDevice.first->second),
                     "write the device's own number, or put the points of one device into one link");
  else if (!samePlace.second)
    problems.warning(bacnet.child("Ip"), "the device's address" + taken(samePlace.first->second),
                     "write the device's own address, or put the points of one device into one link");
}

}  // namespace plant
