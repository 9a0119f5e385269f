#include "bacnet/codec/npdu.h"

#include "bacnet/codec/octets.h"

namespace bacnet {
namespace {

constexpr std::uint8_t kVersion = 1;
constexpr std::uint8_t kHasMessage = 0x80;
constexpr std::uint8_t kHasDestination = 0x20;
constexpr std::uint8_t kHasSource = 0x08;
constexpr std::uint8_t kExpectsReply = 0x04;
constexpr std::uint8_t kPriority = 0x03;
constexpr std::uint8_t kFirstProprietaryMessage = 0x80;

// Takes a network's number, a length and so many octets from the front of `rest`; nothing where they are not all there.
std::optional<NetworkAddress> takeAddress(std::string_view& rest) {
  if (rest.size() < 3) return std::nullopt;
  const std::size_t octets = octetAt(rest, 2);
  if (rest.size() < 3 + octets) return std::nullopt;
  NetworkAddress address{static_cast<std::uint16_t>(numberOf(rest.substr(0, 2))), std::string(rest.substr(3, octets))};
  rest.remove_prefix(3 + octets);
  return address;
}

std::optional<NetworkMessage> takeMessage(std::string_view rest) {
  if (rest.empty()) return std::nullopt;
  NetworkMessage message;
  message.type = octetAt(rest, 0);
  rest.remove_prefix(1);
  if (message.type >= kFirstProprietaryMessage) {
    if (rest.size() < 2) return std::nullopt;
    message.vendor = static_cast<std::uint16_t>(numberOf(rest.substr(0, 2)));
    rest.remove_prefix(2);
  }
  message.data = rest;
  return message;
}

void appendAddress(std::string& out, const NetworkAddress& address) {
  appendNumber(out, address.network, 2);
  appendNumber(out, address.mac.size(), 1);
  out += address.mac;
}

}  // namespace

std::optional<Npdu> parseNpdu(std::string_view bytes) {
  if (bytes.size() < 2 || octetAt(bytes, 0) != kVersion) return std::nullopt;
  const std::uint8_t control = octetAt(bytes, 1);
  bytes.remove_prefix(2);
  Npdu npdu;
  npdu.expectsReply = (control & kExpectsReply) != 0;
  npdu.priority = control & kPriority;
  if ((control & kHasDestination) != 0) {
    npdu.destination = takeAddress(bytes);
    if (!npdu.destination || npdu.destination->network == kLocalNetwork) return std::nullopt;
  }
  if ((control & kHasSource) != 0) {
    npdu.source = takeAddress(bytes);
    // A source is one station: an answer to a broadcast address would reach everybody.
    if (!npdu.source || npdu.source->network == kLocalNetwork || npdu.source->network == kGlobalNetwork ||
        npdu.source->mac.empty()) {
      return std::nullopt;
    }
  }
  if (npdu.destination) {
    if (bytes.empty()) return std::nullopt;
    npdu.hopCount = octetAt(bytes, 0);
    bytes.remove_prefix(1);
  }
  if ((control & kHasMessage) == 0) {
    npdu.apdu = bytes;
    return npdu;
  }
  npdu.message = takeMessage(bytes);
  if (!npdu.message) return std::nullopt;
  return npdu;
}

std::string encodeNpdu(const Npdu& npdu) {
  std::uint8_t control = npdu.priority & kPriority;
  if (npdu.message) control |= kHasMessage;
  if (npdu.destination) control |= kHasDestination;
  if (npdu.source) control |= kHasSource;
  if (npdu.expectsReply) control |= kExpectsReply;
  std::string out;
  out += static_cast<char>(kVersion);
  out += static_cast<char>(control);
  if (npdu.destination) appendAddress(out, *npdu.destination);
  if (npdu.source) appendAddress(out, *npdu.source);
  if (npdu.destination) appendNumber(out, npdu.hopCount, 1);
  if (!npdu.message) return out.append(npdu.apdu);
  appendNumber(out, npdu.message->type, 1);
  if (npdu.message->type >= kFirstProprietaryMessage) appendNumber(out, npdu.message->vendor, 2);
  return out.append(npdu.message->data);
}

std::optional<std::vector<std::uint16_t>> parseNetworks(std::string_view data) {
  if (data.size() % 2 != 0) return std::nullopt;
  std::vector<std::uint16_t> networks;
  networks.reserve(data.size() / 2);
  for (; !data.empty(); data.remove_prefix(2)) {
    networks.push_back(static_cast<std::uint16_t>(numberOf(data.substr(0, 2))));
  }
  return networks;
}

std::string encodeNetworks(const std::vector<std::uint16_t>& networks) {
  std::string out;
  for (const std::uint16_t network : networks) appendNumber(out, network, 2);
  return out;
}

std::optional<RejectedMessage> parseRejectedMessage(std::string_view data) {
  if (data.size() != 3) return std::nullopt;
  return RejectedMessage{octetAt(data, 0), static_cast<std::uint16_t>(numberOf(data.substr(1)))};
}

std::string encodeRejectedMessage(const RejectedMessage& rejected) {
  std::string out;
  appendNumber(out, rejected.reason, 1);
  appendNumber(out, rejected.network, 2);
  return out;
}

}  // namespace bacnet
