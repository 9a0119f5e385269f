#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <system_error>

#include "host/tool/examine/device_examination.h"
#include "host/tool/failure.h"
#include "host/tool/network/port_holders.h"
#include "io/network_interfaces.h"
#include "io/udp_datagrams.h"

namespace tool {

namespace {

using namespace std::chrono_literals;

constexpr io::Duration kRouterAnswers = 1s;
constexpr int kTries = 2;

// Whether the helper can use the port as it does: shared, and connected to a peer.
std::error_code tryPort(std::uint16_t port) {
  constexpr io::Address kNobody{0x7FFFFFFE, 9};
  try {
    io::CEventLoop loop;
    const io::CUdpDatagrams socket(loop, {{io::kAnyIp, port}, true, kNobody});
    return {};
  } catch (const std::system_error& failure) {
    return failure.code();
  }
}

bool leadsTo(const bacnet::NetworkMessage& message, std::uint16_t network) {
  if (message.type != static_cast<std::uint8_t>(bacnet::NetworkMessageType::kIAmRouterToNetwork)) return false;
  const auto networks = bacnet::parseNetworks(message.data);
  return networks && std::count(networks->begin(), networks->end(), network) > 0;
}

bool isRejectionOf(const bacnet::NetworkMessage& message, std::uint16_t network) {
  if (message.type != static_cast<std::uint8_t>(bacnet::NetworkMessageType::kRejectMessageToNetwork)) return false;
  const auto rejected = bacnet::parseRejectedMessage(message.data);
  return rejected && rejected->network == network;
}

bool isBroadcastHere(std::uint32_t ip) {
  const auto all = io::networkInterfaces();
  return std::any_of(all.begin(), all.end(), [&](const auto& each) { return each.broadcast == ip; });
}

}  // namespace

Finding CDeviceExamination::port() {
  std::string error;
  settings_ = binding::readLinkSettings(link_, error);
  if (!settings_) return failed(ExitStatus::kProject, error, "'hmi-host check' tells more");
  if (!binding::readHelperOptions(options_.project, helperOptions_, error))
    return failed(ExitStatus::kProject, error, "mend helper.json");
  if (helperOptions_.broadcast && !isBroadcastHere(*helperOptions_.broadcast))
    return warning(
        fmt::format("helper.json's broadcast {} is that of no interface", io::ipText(*helperOptions_.broadcast)),
        "write one that 'ip -4 addr' shows behind brd, or leave it out");
  if (helperOptions_.hasOwnPort) return ok("a free one, as helper.json says");

  const std::uint16_t port = settings_->localPort;
  const std::error_code problem = tryPort(port);
  const std::vector<std::string> holders = holdersOf(port);
  const std::string who = fmt::format("{}", fmt::join(holders, ", "));
  if (!problem)
    return ok(holders.empty() ? fmt::format("{} is free", port) : fmt::format("{}, shared with {}", port, who));
  if (problem == std::errc::address_in_use)
    return warning(fmt::format("{} belongs to {}, which does not share it; the helper takes a free one", port,
                               who.empty() ? "another program" : who),
                   "end that program, or have it share the port, where devices answer to that port only");
  return failed(ExitStatus::kUnreachable, fmt::format("{}: {}", port, problem.message()),
                "write a SrcPort that a program without special rights may use");
}

Finding CDeviceExamination::routeTo(const io::Address& address) const {
  const auto way = io::interfaceTowards(address.ip);
  if (!way)
    return failed(ExitStatus::kUnreachable, fmt::format("there is no route to {}", io::ipText(address.ip)),
                  "give this machine an address on that network, or a route to it: 'ip route' lists them");
  if (isBroadcastHere(address.ip))
    return failed(ExitStatus::kProject, fmt::format("{} is a broadcast address", io::ipText(address.ip)),
                  "write the address of one device as Ip, or none");
  const bool isNear = (address.ip & way->mask) == (way->ip & way->mask);
  return ok(fmt::format("{} through {} ({}), {}", io::ipText(address.ip), way->name, io::ipText(way->ip),
                        isNear ? "on the same network" : "by way of a gateway"));
}

Finding CDeviceExamination::route() {
  Finding finding = ok(options_.isInterfaceNamed ? fmt::format("by broadcast on {}", options_.networkInterface)
                                                 : "by broadcast on every interface");
  const auto first = settings_->bbmd ? settings_->bbmd : settings_->peer;
  if (first) finding = routeTo(*first);
  if (finding.verdict == Verdict::kFailed) return finding;

  station_ =
      std::make_unique<CStation>(StationOptions{options_.broadcastInterface(), settings_->remotePort, settings_->bbmd});
  if (settings_->bbmd) finding.detail += ", registered there as a foreign device";
  if (!first && !station_->canBroadcast())
    return failed(ExitStatus::kUsage, "there is no network interface to ask on but the loopback",
                  "name one with --interface, or write the device's Ip");
  place_ = settings_->device.station;
  if (settings_->device.network == bacnet::kLocalNetwork) return finding;
  const Finding further = routeThroughRouter();
  return {further.verdict, finding.detail + "; " + further.detail, further.remedy, further.status};
}

Finding CDeviceExamination::routeThroughRouter() {
  bacnet::DeviceSettings& device = settings_->device;
  std::optional<io::Address> router;
  bool isRejected = false;
  station_->onMessage([&](const bacnet::Incoming& from, const bacnet::NetworkMessage& message) {
    if (device.router && !(from.datagramFrom == *device.router)) return;
    if (leadsTo(message, device.network)) router = from.station.address;
    if (isRejectionOf(message, device.network)) isRejected = true;
    station_->wake();
  });
  for (int i = 0; i < kTries && !router && !isRejected; ++i) {
    if (device.router)
      station_->network().askRouter(*device.router, device.network);
    else
      station_->network().askForRouter(station_->broadcast(), device.network);
    station_->waitFor([&] { return router || isRejected; }, kRouterAnswers);
  }
  station_->onMessage({});

  if (router && !device.router) {
    device.router = router;
    if (device.remoteMac) place_ = bacnet::Station{*router, bacnet::NetworkAddress{device.network, *device.remoteMac}};
  }
  if (router) return ok(fmt::format("the router {} leads to network {}", io::addressText(*router), device.network));
  if (isRejected)
    return failed(ExitStatus::kUnreachable, fmt::format("the router leads to no network {}", device.network),
                  "compare Network with the router's own networks");
  if (device.router)
    return warning(fmt::format("the router does not say that it leads to network {}", device.network),
                   "if the device does not answer either, compare Ip and Network with the router's");
  return failed(ExitStatus::kUnreachable, fmt::format("no router says that it leads to network {}", device.network),
                "check Network, or write the router's address as Ip");
}

}  // namespace tool
