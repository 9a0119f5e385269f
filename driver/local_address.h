#pragma once

#include <cstdint>
#include <string>

namespace driver {

/// Replaces `ip` by the IPv4 address of a network interface, in dotted decimal text.
/// Result: 0; -1 no socket; -2 no such interface, a name longer than the kernel's field, or no IPv4 address. `ip` keeps
/// its text on failure.
std::int32_t getLocalIpAddress(const std::string& interfaceName, std::string& ip);

}  // namespace driver
