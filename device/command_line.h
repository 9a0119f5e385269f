#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace device {

struct Options {
  std::string project;  ///< a directory with BACnetLabel.xml, or such a file
  std::optional<std::int32_t> link;
  std::optional<std::uint32_t> deviceId;
  std::uint32_t ip = 0x7F000001;
  std::optional<std::uint16_t> port;
  std::optional<std::uint32_t> broadcast;
  std::string behaviour;  ///< a file; empty: none
  bool standsStill = false;
  bool traces = false;
  bool tellsOrigins = false;  ///< who commanded each priority
};

/// Result: the status to exit with when there is nothing to serve; help and version are printed on standard output, a
/// mistake with its remedy on standard error.
std::optional<int> readCommandLine(int argc, char** argv, Options& options);

constexpr int kFailure = 1;
constexpr int kUsage = 2;
constexpr int kBadFile = 3;

}  // namespace device
