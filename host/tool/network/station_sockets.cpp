#include "host/tool/network/station_sockets.h"

#include <set>
#include <system_error>
#include <utility>

namespace tool {

CStationSockets::CStationSockets(io::CEventLoop& loop, std::vector<io::NetworkInterface> interfaces, std::uint16_t port)
    : interfaces_(std::move(interfaces)), own_(loop, {{io::kAnyIp, 0}, false, {}}) {
  std::set<std::uint32_t> broadcasts = {io::kBroadcastIp};
  for (const io::NetworkInterface& each : interfaces_) broadcasts.insert(each.broadcast);
  for (const std::uint32_t broadcast : broadcasts) {
    const io::Address address{broadcast, port};
    try {
      listeners_.push_back(std::make_unique<io::CUdpDatagrams>(loop, io::UdpOptions{address, true, {}}));
    } catch (const std::system_error& error) {
      if (error.code() != std::errc::address_in_use) throw;
      deaf_.push_back(io::addressText(address));
    }
  }
}

void CStationSockets::send(const io::Address& to, std::string_view bytes) {
  if (to.ip != io::kBroadcastIp) return own_.send(to, bytes);
  for (const io::NetworkInterface& each : interfaces_) own_.send({each.broadcast, to.port}, bytes);
}

void CStationSockets::onReceive(ReceiveHandler handler) {
  for (const auto& listener : listeners_) listener->onReceive(handler);
  own_.onReceive(std::move(handler));
}

}  // namespace tool
