#include "io/address.h"

#include <charconv>

namespace io {

namespace {

// Takes a decimal number without leading zeros off the front of `text`.
std::optional<std::uint32_t> takeNumber(std::string_view& text, std::uint32_t most) {
  std::uint32_t number = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  const auto digits = static_cast<std::size_t>(end - text.data());
  if (failure != std::errc() || number > most || (digits > 1 && text.front() == '0')) return std::nullopt;
  text.remove_prefix(digits);
  return number;
}

bool take(std::string_view& text, char expected) {
  if (text.empty() || text.front() != expected) return false;
  text.remove_prefix(1);
  return true;
}

std::optional<std::uint32_t> takeIp(std::string_view& text) {
  std::uint32_t ip = 0;
  for (int part = 0; part < 4; ++part) {
    if (part > 0 && !take(text, '.')) return std::nullopt;
    const auto number = takeNumber(text, 255);
    if (!number) return std::nullopt;
    ip = ip << 8 | *number;
  }
  return ip;
}

}  // namespace

std::optional<std::uint32_t> parseIp(std::string_view text) {
  const auto ip = takeIp(text);
  return text.empty() ? ip : std::nullopt;
}

std::optional<Address> parseAddress(std::string_view text, std::uint16_t defaultPort) {
  const auto ip = takeIp(text);
  if (!ip) return std::nullopt;
  if (text.empty()) return Address{*ip, defaultPort};
  if (!take(text, ':')) return std::nullopt;
  const auto port = takeNumber(text, 65535);
  if (!port || *port == 0 || !text.empty()) return std::nullopt;
  return Address{*ip, static_cast<std::uint16_t>(*port)};
}

std::string ipText(std::uint32_t ip) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    text += std::to_string(ip >> shift & 0xFF);
    if (shift > 0) text += '.';
  }
  return text;
}

std::string addressText(const Address& address) {
  return ipText(address.ip) + ':' + std::to_string(address.port);
}

}  // namespace io
