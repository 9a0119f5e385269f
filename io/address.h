#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

namespace io {

/// An IPv4 address and UDP port, both in the host's byte order.
struct Address {
  std::uint32_t ip = 0;
  std::uint16_t port = 0;

  friend bool operator==(const Address& a, const Address& b) { return a.ip == b.ip && a.port == b.port; }
  friend bool operator!=(const Address& a, const Address& b) { return !(a == b); }
  friend bool operator<(const Address& a, const Address& b) { return std::tie(a.ip, a.port) < std::tie(b.ip, b.port); }
};

constexpr std::uint32_t kAnyIp = 0;
constexpr std::uint32_t kBroadcastIp = 0xFFFFFFFF;

/// Four decimal numbers from 0 to 255 without leading zeros, as in 192.0.2.7; nothing else.
std::optional<std::uint32_t> parseIp(std::string_view text);
/// As parseIp, with an optional decimal port from 1 to 65535 behind a colon; `defaultPort` where there is none.
std::optional<Address> parseAddress(std::string_view text, std::uint16_t defaultPort);

std::string ipText(std::uint32_t ip);             ///< 192.0.2.7
std::string addressText(const Address& address);  ///< 192.0.2.7:47808

}  // namespace io
