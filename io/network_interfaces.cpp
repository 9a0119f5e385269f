#include "io/network_interfaces.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "io/socket_address.h"

namespace io {

namespace {

std::uint32_t ipOf(const sockaddr* address) {
  return address == nullptr ? 0 : addressOf(*reinterpret_cast<const sockaddr_in*>(address)).ip;
}

// The address that a datagram to `ip` would have as its source.
std::optional<std::uint32_t> sourceTowards(std::uint32_t ip) {
  constexpr std::uint16_t kAnyPort = 9;  // connecting a datagram socket sends nothing
  const int probe = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (probe < 0) return std::nullopt;
  const int on = 1;
  const SocketAddress to({ip, kAnyPort});
  SocketAddress own;
  const bool isKnown = ::setsockopt(probe, SOL_SOCKET, SO_BROADCAST, &on, sizeof(on)) == 0 &&
                       ::connect(probe, to.get(), to.size()) == 0 && ::getsockname(probe, own.get(), &own.length) == 0;
  ::close(probe);
  return isKnown ? std::optional(own.address().ip) : std::nullopt;
}

}  // namespace

std::vector<NetworkInterface> networkInterfaces() {
  ifaddrs* first = nullptr;
  if (::getifaddrs(&first) != 0) return {};
  const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(first, &::freeifaddrs);

  std::vector<NetworkInterface> interfaces;
  for (const ifaddrs* each = first; each != nullptr; each = each->ifa_next) {
    const bool isUsed = each->ifa_addr != nullptr && each->ifa_addr->sa_family == AF_INET;
    if (!isUsed || (each->ifa_flags & IFF_UP) == 0) continue;
    NetworkInterface found{each->ifa_name, ipOf(each->ifa_addr), ipOf(each->ifa_netmask), 0};
    if ((each->ifa_flags & IFF_BROADCAST) != 0) found.broadcast = ipOf(each->ifa_broadaddr);
    if (found.broadcast == 0) found.broadcast = found.ip | ~found.mask;
    interfaces.push_back(std::move(found));
  }
  return interfaces;
}

std::optional<NetworkInterface> interfaceTowards(std::uint32_t ip) {
  const auto source = sourceTowards(ip);
  const auto interfaces = networkInterfaces();
  const auto found = std::find_if(interfaces.begin(), interfaces.end(),
                                  [&](const NetworkInterface& each) { return each.ip == source; });
  return found == interfaces.end() ? std::nullopt : std::optional(*found);
}

}  // namespace io
