#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "device/address_claim.h"
#include "device/command_line.h"
#include "device/traced_datagrams.h"
#include "device/virtual_device.h"
#include "io/event_loop.h"
#include "io/network_interfaces.h"
#include "io/udp_datagrams.h"

namespace {

using device::Behaviour;
using device::Options;

// Ends the program with a status, and a line that says what to do.
struct Complaint : std::runtime_error {
  Complaint(int exitStatus, const std::string& text) : std::runtime_error(text), status(exitStatus) {}
  int status;
};

plant::Link readLink(const Options& options) {
  std::filesystem::path path = options.project;
  std::error_code unknown;
  if (std::filesystem::is_directory(path, unknown)) path /= "BACnetLabel.xml";
  std::vector<plant::Link> links;
  std::string error;
  if (plant::readLinks(path.string(), links, error) != 0) throw Complaint(device::kBadFile, error);
  std::string numbers;
  for (const plant::Link& each : links) {
    if (options.link == each.linkId || (!options.link && links.size() == 1)) return each;
    numbers += fmt::format("{}{}", numbers.empty() ? "" : ", ", each.linkId);
  }
  throw Complaint(device::kBadFile, options.link ? fmt::format("{} has no link {}; it has {}", path.string(),
                                                               *options.link, numbers.empty() ? "none" : numbers)
                                                 : fmt::format("{} has the links {}; choose one with --link",
                                                               path.string(), numbers.empty() ? "none" : numbers));
}

std::uint32_t deviceIdOf(const Options& options, const plant::Link& link) {
  if (options.deviceId) return *options.deviceId;
  const bool isInstance = link.deviceId > 0 && link.deviceId < static_cast<std::int32_t>(bacnet::kLargestInstance);
  if (isInstance) return static_cast<std::uint32_t>(link.deviceId);
  throw Complaint(device::kBadFile, fmt::format("link {} names no device (DeviceId {}); choose one with --device-id",
                                                link.linkId, link.deviceId));
}

std::uint16_t portOf(const Options& options, const plant::Link& link) {
  if (options.port) return *options.port;
  const bool isPort = link.desPort > 0 && link.desPort <= 65535;
  return isPort ? static_cast<std::uint16_t>(link.desPort) : bacnet::kStandardPort;
}

std::uint32_t broadcastOf(const Options& options) {
  if (options.broadcast) return *options.broadcast;
  if (options.ip == io::kAnyIp) return io::kBroadcastIp;
  for (const io::NetworkInterface& each : io::networkInterfaces()) {
    if ((each.ip & each.mask) == (options.ip & each.mask)) return each.broadcast;
  }
  throw Complaint(device::kFailure, fmt::format("no network interface has {} on its network; ip address shows them",
                                                io::ipText(options.ip)));
}

// A stream's buffer throws where it opens and cannot be read, as a directory.
std::string contentOf(const std::string& path) try {
  std::ifstream file(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file.is_open()) throw Complaint(device::kBadFile, path + ": cannot be read");
  return text;
} catch (const std::ios_base::failure&) {
  throw Complaint(device::kBadFile, path + ": cannot be read");
}

Behaviour readBehaviour(const Options& options) {
  Behaviour behaviour;
  if (!options.behaviour.empty()) {
    const std::string text = contentOf(options.behaviour);
    std::string error;
    if (!device::readBehaviour(text, behaviour, error)) {
      throw Complaint(device::kBadFile, options.behaviour + ": " + error);
    }
  }
  behaviour.standsStill = behaviour.standsStill || options.standsStill;
  return behaviour;
}

/// A UDP socket with its trace.
struct TracedSocket {
  TracedSocket(io::CEventLoop& loop, const io::Address& address, bool traces)
      : udp(loop, {address, true, std::nullopt}), traced(udp, traces) {}
  io::CUdpDatagrams udp;
  device::CTracedDatagrams traced;
};

std::unique_ptr<TracedSocket> openSocket(io::CEventLoop& loop, const io::Address& address, bool traces) try {
  return std::make_unique<TracedSocket>(loop, address, traces);
} catch (const std::system_error& failure) {
  const char* remedy = failure.code().value() == EADDRINUSE
                           ? "another program has the port for itself; choose another --address or --port"
                           : "choose an --address that this machine has";
  throw Complaint(device::kFailure, fmt::format("{}: {}; {}", io::addressText(address), failure.what(), remedy));
}

int serve(const Options& options) {
  const plant::Link link = readLink(options);
  const Behaviour behaviour = readBehaviour(options);
  const io::Address address{options.ip, portOf(options, link)};
  const io::Address broadcast{broadcastOf(options), address.port};
  const device::CAddressClaim claim(address);
  if (!claim.isHeld()) {
    throw Complaint(device::kFailure, fmt::format("another bacnet-device is at {}; choose another --address or --port",
                                                  io::addressText(address)));
  }

  io::CEventLoop loop;
  const auto socket = openSocket(loop, address, options.traces);
  std::vector<std::unique_ptr<TracedSocket>> listeners;
  device::Place place{socket->traced, {}, broadcast};
  if (options.ip != io::kAnyIp) {
    for (const std::uint32_t ip : std::set<std::uint32_t>{broadcast.ip, io::kBroadcastIp}) {
      listeners.push_back(openSocket(loop, {ip, address.port}, options.traces));
      place.listeners.push_back(&listeners.back()->traced);
    }
  }

  device::CVirtualDevice virtualDevice(loop, place, link, deviceIdOf(options, link));
  for (const std::string& remark : virtualDevice.remarks()) fmt::print(stderr, "bacnet-device: {}\n", remark);
  loop.onSignals({SIGTERM, SIGINT, SIGHUP}, [&](int signal) {
    if (signal != SIGHUP) return loop.stop(0);
    try {
      virtualDevice.behave(readBehaviour(options));
    } catch (const Complaint& complaint) {
      fmt::print(stderr, "bacnet-device: {}; it behaves as before\n", complaint.what());
    }
  });
  if (options.tellsOrigins) virtualDevice.tellOrigins();
  virtualDevice.behave(behaviour);
  fmt::print("bacnet-device {} on {}, {} objects\n", virtualDevice.deviceId(), io::addressText(address),
             virtualDevice.objectCount());
  std::fflush(stdout);
  return loop.run();
}

}  // namespace

int main(int argc, char** argv) try {
  Options options;
  if (const auto status = device::readCommandLine(argc, argv, options)) return *status;
  return serve(options);
} catch (const Complaint& complaint) {
  fmt::print(stderr, "bacnet-device: {}\n", complaint.what());
  return complaint.status;
} catch (const std::exception& failure) {
  fmt::print(stderr, "bacnet-device: {}\n", failure.what());
  return device::kFailure;
}
