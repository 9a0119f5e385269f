#include "cbl/net/address_text.h"

#include <cstdio>
#include <regex>

namespace cbl {

bool isIpv4Text(const std::string& text) {
  std::array<std::uint8_t, 4> ignored;
  return parseIpv4(text, ignored);
}

bool parseIpv4(const std::string& text, std::array<std::uint8_t, 4>& address) {
  if (text.empty()) return false;
  static const std::regex kPattern(R"(^(\d{1,3})\.(\d{1,3})\.(\d{1,3})\.(\d{1,3})$)");
  std::smatch match;
  if (!std::regex_match(text, match, kPattern)) return false;
  std::array<std::uint8_t, 4> numbers{};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const int number = std::stoi(match[i + 1].str());
    if (number > 255) return false;
    numbers[i] = static_cast<std::uint8_t>(number);
  }
  address = numbers;
  return true;
}

std::string formatIpv4(const std::array<std::uint8_t, 4>& address) {
  char text[16];
  std::snprintf(text, sizeof(text), "%d.%d.%d.%d", address[0], address[1], address[2], address[3]);
  return text;
}

std::int32_t parseMac(const std::string& text, std::uint8_t* mac) {
  if (text.empty() || mac == nullptr) return -1;
  static const std::regex kPattern(
      "^([0-9A-Fa-f]{2})[:-]([0-9A-Fa-f]{2})[:-]([0-9A-Fa-f]{2})[:-]([0-9A-Fa-f]{2})[:-]([0-9A-Fa-f]{2})[:-]"
      "([0-9A-Fa-f]{2})$");
  std::smatch match;
  if (!std::regex_match(text, match, kPattern)) return -2;
  for (std::size_t group = 1; group < match.size(); ++group) {
    mac[group - 1] = static_cast<std::uint8_t>(std::stoi(match[group].str(), nullptr, 16));
  }
  return 0;
}

std::string formatMac(const std::array<std::uint8_t, 6>& mac, bool upperCase) {
  char text[18];
  std::snprintf(text, sizeof(text), upperCase ? "%02X:%02X:%02X:%02X:%02X:%02X" : "%02x:%02x:%02x:%02x:%02x:%02x",
                mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
  return text;
}

}  // namespace cbl
