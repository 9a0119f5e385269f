#include "binding/link_settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <string_view>

#include "bacnet/codec/bvlc.h"

namespace binding {

namespace {

constexpr std::int32_t kModeDevice = 0;
constexpr std::int32_t kModeRouter = 1;
constexpr std::int32_t kModeForeign = 2;
constexpr std::size_t kLongestMac = 255;  // octets
constexpr std::int32_t kBacnetIpMac = 6;

std::optional<std::uint16_t> portOf(std::int32_t number) {
  if (number == 0) return bacnet::kStandardPort;
  if (number < 0 || number > 65535) return std::nullopt;
  return static_cast<std::uint16_t>(number);
}

int hexDigit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

std::optional<std::string> parseHex(std::string_view text) {
  std::string digits;
  for (const char each : text) {
    if (each == ':' || each == '-') continue;
    if (hexDigit(each) < 0) return std::nullopt;
    digits += each;
  }
  if (digits.empty() || digits.size() % 2 != 0 || digits.size() / 2 > kLongestMac) return std::nullopt;
  std::string bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    bytes += static_cast<char>(hexDigit(digits[i]) * 16 + hexDigit(digits[i + 1]));
  }
  return bytes;
}

std::optional<std::string> parseOctet(std::string_view text) {
  std::uint8_t octet = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), octet);
  if (failure != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return std::string(1, static_cast<char>(octet));
}

// 0, -1 and "whoever is asked" are ways to leave the number out.
bool readDeviceId(std::int32_t number, std::optional<std::uint32_t>& id) {
  constexpr auto kAnybody = static_cast<std::int32_t>(bacnet::kLargestInstance);
  if (number < -1 || number > kAnybody) return false;
  if (number > 0 && number < kAnybody) id = static_cast<std::uint32_t>(number);
  return true;
}

void readChanges(std::int32_t number, LinkSettings& settings) {
  using Changes = LinkSettings::Changes;
  if (number == 1) settings.changes = Changes::kUnconfirmed;
  if (number == 2) settings.changes = Changes::kConfirmed;
  if (number < 0 || number > 2) settings.remark += fmt::format("EnableSCOV {} counts as 0; ", number);
}

// A device on another network: through the router at the link's address, or one that has to be asked for.
bool readRoute(const plant::Link& link, LinkSettings& settings, std::string& error) {
  settings.device.network = static_cast<std::uint16_t>(link.network);
  settings.device.router = settings.peer;
  if (link.virtualMac.empty()) return true;
  const auto mac = parseMac(link.virtualMac, link.macLen);
  if (!mac) {
    error = fmt::format("VirtualMac '{}' is no address of MacLen {}", link.virtualMac, link.macLen);
    return false;
  }
  settings.device.remoteMac = *mac;
  if (settings.peer) {
    settings.device.station = bacnet::Station{*settings.peer, bacnet::NetworkAddress{settings.device.network, *mac}};
  }
  return true;
}

}  // namespace

std::optional<std::string> parseMac(const std::string& text, std::int32_t length) {
  std::optional<std::string> mac;
  if (length == 1) mac = parseOctet(text);
  if (length == kBacnetIpMac) {
    if (const auto address = io::parseAddress(text, bacnet::kStandardPort)) mac = bacnet::macOf(*address);
  }
  if (!mac) mac = parseHex(text);
  if (mac && length != 0 && mac->size() != static_cast<std::size_t>(length)) return std::nullopt;
  return mac;
}

std::optional<LinkSettings> readLinkSettings(const plant::Link& link, std::string& error) {
  LinkSettings settings;
  const auto localPort = portOf(link.srcPort);
  const auto remotePort = portOf(link.desPort);
  if (!localPort || !remotePort) {
    error = fmt::format("{} {} is no port", localPort ? "DesPort" : "SrcPort", localPort ? link.desPort : link.srcPort);
    return std::nullopt;
  }
  settings.localPort = *localPort;
  settings.remotePort = *remotePort;
  settings.device.broadcast = {io::kBroadcastIp, *remotePort};
  settings.device.process = static_cast<std::uint32_t>(link.linkId);

  if (!link.ip.empty()) {
    const auto ip = io::parseIp(link.ip);
    if (!ip) {
      error = fmt::format("Ip '{}' is no address", link.ip);
      return std::nullopt;
    }
    settings.peer = io::Address{*ip, *remotePort};
  }
  if (!readDeviceId(link.deviceId, settings.device.deviceId)) {
    error = fmt::format("DeviceId {} is not from 0 to {}", link.deviceId, bacnet::kLargestInstance - 1);
    return std::nullopt;
  }

  std::int32_t mode = link.mode;
  if (mode < kModeDevice || mode > kModeForeign) {
    settings.remark += fmt::format("Mode {} counts as 0; ", mode);
    mode = kModeDevice;
  }
  settings.device.mayReadMultiple = link.enableReadPropm;
  settings.device.mayWriteMultiple = link.enableWritePropm;
  readChanges(link.enableSCOV, settings);

  const bool isRouted = link.network != 0;
  if (link.network < 0 || link.network >= bacnet::kGlobalNetwork) {
    error = fmt::format("Network {} is not from 0 to 65534", link.network);
    return std::nullopt;
  }
  if (mode == kModeRouter && !isRouted) {
    error = "Mode 1 needs the Network behind the router";
    return std::nullopt;
  }
  if (mode == kModeForeign) {
    if (!settings.peer) {
      error = "Mode 2 needs the Ip of the BBMD";
      return std::nullopt;
    }
    settings.bbmd = settings.peer;
    settings.peer.reset();  // what is found through it has an address of its own
  }
  if (isRouted && !readRoute(link, settings, error)) return std::nullopt;
  if (!isRouted && settings.peer) settings.device.station = bacnet::Station{*settings.peer, std::nullopt};

  const bool isFound = settings.device.station || settings.device.remoteMac;
  if (!isFound && !settings.device.deviceId) {
    error = "without a device's address its DeviceId is needed to find it";
    return std::nullopt;
  }
  return settings;
}

}  // namespace binding
