#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace cbl {

/// Whether `text` as a whole is an IPv4 address in dotted decimal text, each part at most 255.
bool isIpv4Text(const std::string& text);

/// The same, with the four numbers; `address` is written on success only.
bool parseIpv4(const std::string& text, std::array<std::uint8_t, 4>& address);

/// The four numbers in dotted decimal text.
std::string formatIpv4(const std::array<std::uint8_t, 4>& address);

/// Six bytes from two hexadecimal digits each, separated by colons, hyphens or a mixture; `mac` points to 6 bytes.
/// Result: 0; -1 empty text or no output; -2 not a MAC address (nothing is written).
std::int32_t parseMac(const std::string& text, std::uint8_t* mac);

std::string formatMac(const std::array<std::uint8_t, 6>& mac, bool upperCase);

}  // namespace cbl
