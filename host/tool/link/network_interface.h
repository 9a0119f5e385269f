#pragma once

#include <string>

namespace tool {

/// The IPv4 address of network interface `name`, which a driver wants before it connects. Throws CFailure (usage) when
/// there is no such interface, or when it has no address.
std::string addressOf(const std::string& name);

}  // namespace tool
