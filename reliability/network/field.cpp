#include "reliability/network/field.h"

#include <array>
#include <string>
#include <vector>

#include "bacnet/codec/apdu.h"
#include "bacnet/codec/bvlc.h"
#include "bacnet/codec/npdu.h"
#include "bacnet/number/object_types.h"
#include "bacnet/service/cov.h"
#include "bacnet/service/discovery.h"

namespace reliability {

namespace {

constexpr std::uint16_t kPanelsNetwork = 1;
constexpr std::uint16_t kBehind = 5;
constexpr auto kLookEvery = std::chrono::milliseconds(10);
constexpr int kFloodEach = 10;  // datagrams in that time
constexpr int kBroadcastEach = 4;

std::string datagram(const bacnet::Npdu& npdu, bacnet::BvlcFunction function) {
  const std::string bytes = bacnet::encodeNpdu(npdu);
  bacnet::Bvlc bvlc;
  bvlc.function = function;
  bvlc.npdu = bytes;
  return bacnet::encodeBvlc(bvlc);
}

std::string datagram(const bacnet::Apdu& apdu) {
  const std::string bytes = bacnet::encodeApdu(apdu);
  bacnet::Npdu npdu;
  npdu.apdu = bytes;
  return datagram(npdu, bacnet::BvlcFunction::kOriginalBroadcast);
}

}  // namespace

CTraffic::CTraffic(const io::Address& address) : socket_(loop_, {address, true, std::nullopt}) {}

CTraffic::~CTraffic() {
  end();
}

void CTraffic::begin() {
  look();
  thread_ = std::thread([this] { loop_.run(); });
}

void CTraffic::end() {
  isOver_ = true;
  if (thread_.joinable()) thread_.join();
}

void CTraffic::look() {
  if (isOver_) return loop_.stop(0);
  turn();
  watch_ = loop_.after(kLookEvery, [this] { look(); });
}

CRouter::CRouter(const io::Address& address) : CTraffic(address) {
  socket_.onReceive([this](const io::Address& from, std::string_view bytes) {
    if (!isGone_) route(from, bytes);
  });
  begin();
}

void CRouter::route(const io::Address& from, std::string_view bytes) {
  const auto bvlc = bacnet::parseBvlc(bytes);
  auto npdu = bvlc ? bacnet::parseNpdu(bvlc->npdu) : std::nullopt;
  if (!npdu || !npdu->destination) return;
  const auto to = bacnet::addressOf(npdu->destination->mac);
  const auto network = npdu->destination->network;
  if (!to || (network != kBehind && network != kPanelsNetwork)) return;
  npdu->source = bacnet::NetworkAddress{network == kBehind ? kPanelsNetwork : kBehind, bacnet::macOf(from)};
  npdu->destination.reset();
  socket_.send(*to, datagram(*npdu, bacnet::BvlcFunction::kOriginalUnicast));
}

CFlood::CFlood(const io::Address& from, const io::Address& panel, const io::Address& broadcast)
    : CTraffic(from), panel_(panel), broadcast_(broadcast) {
  begin();
}

void CFlood::turn() {
  for (int i = 0; i < kFloodEach; ++i) {
    const auto number = sent_++;
    const auto id = static_cast<std::uint8_t>(number / 5);
    const std::string iAm = encode(bacnet::IAm{1001 + number % 8, 1476, bacnet::Segmentation::kBoth, 0});
    const bacnet::ObjectId value{bacnet::object_type::kPositiveIntegerValue, 1 + number % 12};
    const std::string told = encode(bacnet::CovNotification{
        1, 1001 + number % 8, value, 60, {{{85, std::nullopt}, {std::uint64_t{number}}, std::nullopt}}});
    const std::array<std::string, 5> kinds = {
        std::string(number % 1400, static_cast<char>(number)),
        datagram(bacnet::UnconfirmedRequest{bacnet::UnconfirmedService::kIAm, iAm}),
        datagram(bacnet::UnconfirmedRequest{bacnet::UnconfirmedService::kUnconfirmedCovNotification, told}),
        datagram(bacnet::ComplexAck{id, bacnet::ConfirmedService::kReadPropertyMultiple, std::nullopt, told}),
        datagram(bacnet::AbortPdu{id, true, 0}),
    };
    socket_.send(number % kBroadcastEach == 0 ? broadcast_ : panel_, kinds[number % kinds.size()]);
  }
}

}  // namespace reliability
