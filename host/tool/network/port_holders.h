#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

/// Who has a UDP port of this machine: program and process, or only the user where others may not look closer.
std::vector<std::string> holdersOf(std::uint16_t port);

/// What the kernel has found out of a neighbour on the same network.
struct Neighbour {
  enum Kind { kUnknown, kMissing, kPresent };
  Kind kind = kUnknown;
  std::string mac;  ///< of one that is present
};
Neighbour neighbourAt(std::uint32_t ip);

}  // namespace tool
