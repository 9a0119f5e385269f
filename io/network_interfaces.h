#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace io {

/// One IPv4 address of a network interface that is up; numbers in the host's byte order.
struct NetworkInterface {
  std::string name;
  std::uint32_t ip = 0;
  std::uint32_t mask = 0;
  std::uint32_t broadcast = 0;  ///< that of ip and mask where the kernel names none, as for the loopback
};

/// Empty when the kernel tells none.
std::vector<NetworkInterface> networkInterfaces();

/// The interface out of which the kernel sends to `ip`; nothing when it has no way there. Sends nothing.
std::optional<NetworkInterface> interfaceTowards(std::uint32_t ip);

}  // namespace io
