#include "host/tool/network/station.h"

#include <fmt/format.h>
#include <net/if.h>
#include <sys/epoll.h>

#include <algorithm>
#include <system_error>
#include <vector>

#include "host/tool/console/error_relay.h"
#include "host/tool/failure.h"
#include "io/network_interfaces.h"

namespace tool {

namespace {

using namespace std::chrono_literals;

constexpr std::uint16_t kSecondsToLive = 60;
constexpr io::Duration kAgain = 30s;
constexpr io::Duration kRegistration = 3s;
constexpr io::Duration kLook = 100ms;  // from one look at what may stop it to the next
constexpr std::uint32_t kLoopbackNet = 127;

bool isLoopback(const io::NetworkInterface& each) {
  return each.ip >> 24 == kLoopbackNet;
}

std::vector<io::NetworkInterface> interfacesOf(const std::string& name) {
  std::vector<io::NetworkInterface> all = io::networkInterfaces();
  const auto isOther = [&](const io::NetworkInterface& each) {
    return name.empty() ? isLoopback(each) : each.name != name;
  };
  all.erase(std::remove_if(all.begin(), all.end(), isOther), all.end());
  if (all.empty() && !name.empty())
    throw CFailure(ExitStatus::kUsage,
                   if_nametoindex(name.c_str()) == 0
                       ? fmt::format("there is no network interface '{}'", name)
                       : fmt::format("the network interface '{}' is down or has no IPv4 address", name),
                   "'ip -4 addr' lists them");
  return all;
}

CStationSockets openSockets(io::CEventLoop& loop, const StationOptions& options) {
  const auto interfaces = interfacesOf(options.networkInterface);
  try {
    return {loop, interfaces, options.port};
  } catch (const std::system_error& error) {
    throw CFailure(ExitStatus::kUnreachable, fmt::format("no UDP socket: {}", error.what()),
                   "see who has the port: ss -lunp");
  }
}

}  // namespace

CStation::CStation(const StationOptions& options)
    : port_(options.port),
      isForeign_(options.bbmd.has_value()),
      sockets_(openSockets(loop_, options)),
      network_(sockets_, loop_) {
  if (interruptDescriptor() >= 0 && !loop_.watch(interruptDescriptor(), EPOLLIN, [this](auto) { wake(); }))
    throw CFailure(ExitStatus::kInternal, "Ctrl-C cannot be watched", "raise the limit (ulimit -n)");
  for (const std::string& address : sockets_.deaf())
    complain(
        fmt::format("another program keeps {} for itself: devices that answer by broadcast are not heard", address));
  listen();
  if (options.bbmd) registerAt(*options.bbmd);
}

void CStation::listen() {
  network_.onApdu([this](const bacnet::Incoming& from, const bacnet::Apdu& apdu) {
    for (bacnet::CDeviceClient* const each : clients_) each->onApdu(from, apdu);
    if (listener_) listener_(from, apdu);
  });
  network_.onMessage([this](const bacnet::Incoming& from, const bacnet::NetworkMessage& message) {
    for (bacnet::CDeviceClient* const each : clients_) each->onMessage(from, message);
    if (messageListener_) messageListener_(from, message);
  });
  sockets_.onRefused([this](const io::Address& to) {
    refused_.insert(to);
    for (bacnet::CDeviceClient* const each : clients_) each->onRefused(to);
    wake();
  });
}

void CStation::registerAt(const io::Address& bbmd) {
  std::optional<std::uint16_t> result;
  network_.onResult([&](const io::Address& from, std::uint16_t said) {
    if (from == bbmd) result = said;
    wake();
  });
  network_.registerForeignDevice(bbmd, kSecondsToLive, kAgain);
  waitFor([&] { return result.has_value() || isRefused(bbmd); }, kRegistration);
  network_.onResult([](const io::Address&, std::uint16_t) {});
  if (result == 0 || isInterrupted()) return;
  throw CFailure(ExitStatus::kUnreachable,
                 fmt::format("the BBMD {} {}", io::addressText(bbmd),
                             result            ? "refuses foreign devices"
                             : isRefused(bbmd) ? "is not there: nobody listens at that port"
                                               : "does not answer to a registration"),
                 "check its address, and whether it takes foreign devices");
}

bool CStation::waitFor(const std::function<bool()>& isDone, io::Duration limit) {
  const io::TimePoint end = loop_.now() + limit;
  while (!isDone() && !isStopped() && loop_.now() < end) {
    const io::TimePoint look = stopped_ ? std::min(end, loop_.now() + kLook) : end;
    const io::CTimer timer = loop_.at(look, [this] { wake(); });
    loop_.run();
  }
  return isDone();
}

}  // namespace tool
