#include "bacnet/codec/bvlc.h"

#include "bacnet/codec/octets.h"

namespace bacnet {
namespace {

constexpr std::uint8_t kType = 0x81;
constexpr std::size_t kHeaderOctets = 4;
constexpr std::size_t kMacOctets = 6;

// Octets of the field between the header and what is carried.
std::size_t fieldOctets(BvlcFunction function) {
  if (function == BvlcFunction::kResult || function == BvlcFunction::kRegisterForeignDevice) return 2;
  return function == BvlcFunction::kForwardedNpdu ? kMacOctets : 0;
}

}  // namespace

std::optional<Bvlc> parseBvlc(std::string_view bytes) {
  if (bytes.size() < kHeaderOctets || octetAt(bytes, 0) != kType) return std::nullopt;
  if (numberOf(bytes.substr(2, 2)) != bytes.size()) return std::nullopt;
  Bvlc bvlc;
  bvlc.function = static_cast<BvlcFunction>(octetAt(bytes, 1));
  bytes.remove_prefix(kHeaderOctets);
  const std::size_t octets = fieldOctets(bvlc.function);
  if (bytes.size() < octets) return std::nullopt;
  const std::string_view field = bytes.substr(0, octets);
  if (bvlc.function == BvlcFunction::kResult) bvlc.result = static_cast<std::uint16_t>(numberOf(field));
  if (bvlc.function == BvlcFunction::kRegisterForeignDevice) {
    bvlc.timeToLive = static_cast<std::uint16_t>(numberOf(field));
  }
  if (bvlc.function == BvlcFunction::kForwardedNpdu) bvlc.origin = *addressOf(field);
  bvlc.npdu = bytes.substr(octets);
  return bvlc;
}

std::string encodeBvlc(const Bvlc& bvlc) {
  const std::size_t octets = kHeaderOctets + fieldOctets(bvlc.function) + bvlc.npdu.size();
  std::string out;
  out.reserve(octets);
  out += static_cast<char>(kType);
  out += static_cast<char>(bvlc.function);
  appendNumber(out, octets, 2);
  if (bvlc.function == BvlcFunction::kResult) appendNumber(out, bvlc.result, 2);
  if (bvlc.function == BvlcFunction::kRegisterForeignDevice) appendNumber(out, bvlc.timeToLive, 2);
  if (bvlc.function == BvlcFunction::kForwardedNpdu) out += macOf(bvlc.origin);
  out += bvlc.npdu;
  return out;
}

std::string macOf(const io::Address& address) {
  std::string mac;
  appendNumber(mac, address.ip, 4);
  appendNumber(mac, address.port, 2);
  return mac;
}

std::optional<io::Address> addressOf(std::string_view mac) {
  if (mac.size() != kMacOctets) return std::nullopt;
  return io::Address{static_cast<std::uint32_t>(numberOf(mac.substr(0, 4))),
                     static_cast<std::uint16_t>(numberOf(mac.substr(4)))};
}

}  // namespace bacnet
