#include <arpa/inet.h>

#include <algorithm>
#include <charconv>

#include "plant/check_rules.h"

namespace plant {

namespace {

constexpr int kRouted = 1;
constexpr std::size_t kLongestMac = 18;  // octets: that of IPv6 address and port

const Names kParameters = {"Ip",         "DesPort", "SrcPort", "DeviceId", "EnableReadPropm", "EnableWritePropm",
                           "EnableSCOV", "Mode",    "Network", "MacLen",   "VirtualMac"};

const IntegerRule kDesPort = {"DesPort", 0, 65535, "write 1 to 65535, or 0 for 47808"};
const IntegerRule kSrcPort = {"SrcPort", 0, 65535, "write 1 to 65535, or 0 for 47808"};
const IntegerRule kDeviceId = {"DeviceId", -1, kWildcardInstance, "write the device's instance number, 0 to 4194302"};
const IntegerRule kEnableSCOV = {"EnableSCOV", 0, 2,
                                 "write 0 (poll), 1 (unconfirmed notifications) or 2 (confirmed ones)"};
const IntegerRule kMode = {"Mode", 0, 2, "write 0 (the device itself), 1 (behind a router) or 2 (as a foreign device)"};
const IntegerRule kNetwork = {"Network", 0, 65534, "write the device's network number, 1 to 65534, or 0 for none"};
const IntegerRule kMacLen = {"MacLen", 0, kLongestMac,
                             "write the address's length in octets, or 0 for that of VirtualMac"};

bool isOneDevice(std::uint32_t ip) {
  const std::uint32_t number = ntohl(ip);
  return number != 0 && number >> 28 < 0xE;  // neither none, nor a group's, nor everybody's
}

void checkAddress(const pugi::xml_node& bacnet, CProblems& problems) {
  const pugi::xml_node element = bacnet.child("Ip");
  const std::string text = element.text().as_string();
  const auto ip = parseIp(text);
  if (text.empty()) return;
  if (!ip)
    problems.error(element, "Ip '" + text + "' is no IPv4 address", "write four numbers: 192.168.10.21");
  else if (!isOneDevice(*ip))
    problems.error(element, "Ip " + text + " is no single device's address", "write the device's own address");
}

void checkVirtualMac(const pugi::xml_node& bacnet, std::int64_t network, std::int64_t length, CProblems& problems) {
  const pugi::xml_node element = bacnet.child("VirtualMac");
  const std::string text = element.text().as_string();
  if (text.empty()) return;
  const auto octets = octetsOf(text, length);
  if (!octets)
    problems.error(element, "VirtualMac '" + text + "' is no address",
                   "write hexadecimal octets (0A:1B), 0 to 255 if MacLen is 1, or a.b.c.d:port");
  else if (length != 0 && octets->size() != static_cast<std::size_t>(length))
    problems.error(
        element, "VirtualMac has " + std::to_string(octets->size()) + " octets, MacLen says " + std::to_string(length),
        "write the right MacLen, or 0");
  else if (network == 0)
    problems.warning(element, "VirtualMac has no effect while Network is 0", "write the device's network number");
}

// Ways to find the device that do not come to anything.
void checkReachable(const pugi::xml_node& bacnet, std::int64_t mode, std::int64_t network, CProblems& problems) {
  const auto has = [&](const char* element) { return *bacnet.child(element).text().as_string() != '\0'; };
  const int device = bacnet.child("DeviceId").text().as_int();
  const bool isKnown = device > 0 && device < kWildcardInstance;

  if (mode == kRouted && network == 0)
    problems.error(bacnet, "Mode 1 needs the number of the network behind the router", "write it as Network");
  if (mode == kForeign && !has("Ip")) problems.error(bacnet, "Mode 2 needs the address of the BBMD", "write it as Ip");
  if (network != 0 && !has("VirtualMac") && !isKnown)
    problems.error(bacnet, "neither VirtualMac nor DeviceId tells the device behind the router", "write one of them");
  else if (network == 0 && !isKnown && (!has("Ip") || mode == kForeign))
    problems.error(bacnet, has("Ip") ? "DeviceId does not tell the device" : "neither Ip nor DeviceId tells the device",
                   "write the device's instance number as DeviceId");
}

}  // namespace

std::optional<std::uint32_t> parseIp(const std::string& text) {
  in_addr address{};
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) return std::nullopt;
  return address.s_addr;
}

std::optional<std::string> octetsOf(const std::string& text, std::int64_t length) {
  const std::size_t colon = text.find(':');
  if (const auto ip = parseIp(text.substr(0, colon)); ip && colon != std::string::npos) {
    const auto port = wholeNumber(text.substr(colon + 1));
    if (!port || *port < 0 || *port > 65535) return std::nullopt;
    std::string octets(reinterpret_cast<const char*>(&*ip), sizeof(*ip));
    return octets += {static_cast<char>(*port >> 8), static_cast<char>(*port)};
  }
  const bool isDecimal = text.find_first_not_of("0123456789") == std::string::npos;
  if (length == 1 && isDecimal) {
    const auto number = wholeNumber(text);
    return number && *number <= 255 ? std::optional(std::string(1, static_cast<char>(*number))) : std::nullopt;
  }
  std::string digits = text;
  digits.erase(std::remove_if(digits.begin(), digits.end(), [](char each) { return each == ':' || each == '-'; }),
               digits.end());
  const bool isHex = digits.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
  if (!isHex || digits.empty() || digits.size() % 2 != 0 || digits.size() / 2 > kLongestMac) return std::nullopt;
  std::string octets;
  for (std::size_t at = 0; at < digits.size(); at += 2) {
    octets += static_cast<char>(std::stoi(digits.substr(at, 2), nullptr, 16));
  }
  return octets;
}

void checkParameters(const pugi::xml_node& bacnet, CProblems& problems) {
  checkChildren(bacnet, kParameters, false, problems);
  checkStrayText(bacnet, problems);
  checkAddress(bacnet, problems);
  for (const IntegerRule& rule : {kDesPort, kSrcPort, kDeviceId, kEnableSCOV}) checkInteger(bacnet, rule, problems);
  checkBoolean(bacnet, "EnableReadPropm", problems);
  checkBoolean(bacnet, "EnableWritePropm", problems);
  const std::int64_t mode = checkInteger(bacnet, kMode, problems).value_or(0);
  const std::int64_t network = checkInteger(bacnet, kNetwork, problems).value_or(0);
  const std::int64_t length = checkInteger(bacnet, kMacLen, problems).value_or(0);
  checkVirtualMac(bacnet, network, length, problems);
  checkReachable(bacnet, mode, network, problems);
}

}  // namespace plant
