#include "host/tool/link/network_interface.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <array>
#include <cstring>
#include <memory>

#include "host/tool/failure.h"

namespace tool {

namespace {

// Result: empty when the interface has no usable address.
std::string addressIn(const ifaddrs* list, const std::string& name) {
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET || name != entry->ifa_name) continue;
    sockaddr_in address{};
    std::memcpy(&address, entry->ifa_addr, sizeof(address));
    std::array<char, INET_ADDRSTRLEN> text{};
    if (address.sin_addr.s_addr != INADDR_ANY) return inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size());
  }
  return "";
}

}  // namespace

std::string addressOf(const std::string& name) {
  if (if_nametoindex(name.c_str()) == 0)
    throw CFailure(ExitStatus::kUsage, fmt::format("there is no network interface '{}'", name),
                   "name one of those that 'ip address' shows with --interface");

  ifaddrs* list = nullptr;
  getifaddrs(&list);
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, &freeifaddrs);
  std::string address = addressIn(list, name);
  if (address.empty())
    throw CFailure(ExitStatus::kUsage, fmt::format("network interface '{}' has no IPv4 address", name),
                   "give it one, or name another with --interface");
  return address;
}

}  // namespace tool
