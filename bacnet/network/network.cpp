#include "bacnet/network/network.h"

#include <string>
#include <utility>
#include <vector>

#include "bacnet/codec/bvlc.h"

namespace bacnet {

namespace {

/// A source that no station can have: it could not be answered.
bool isImpossible(const NetworkAddress& source) {
  return source.network == kLocalNetwork || source.network == kGlobalNetwork || source.mac.empty();
}

Npdu whoIsRouter(std::string_view networks) {
  Npdu npdu;
  npdu.message = NetworkMessage{static_cast<std::uint8_t>(NetworkMessageType::kWhoIsRouterToNetwork), 0, networks};
  return npdu;
}

}  // namespace

struct CNetwork::Impl {
  struct Registration {
    io::Address bbmd;
    std::uint16_t secondsToLive;
    io::Duration again;
    io::CTimer timer;
  };

  Impl(io::CDatagrams& socket, io::CTimers& clock) : datagrams(socket), timers(clock) {}

  void listen(io::CDatagrams& socket) {
    heard.push_back(&socket);
    socket.onReceive([this](const io::Address& from, std::string_view bytes) { receive(from, bytes); });
  }

  void receive(const io::Address& from, std::string_view bytes);
  void receiveNpdu(Incoming incoming, std::string_view bytes);
  void send(const io::Address& to, BvlcFunction function, const Npdu& npdu);
  void broadcast(const io::Address& to, const Npdu& npdu);
  void registerAgain();

  io::CDatagrams& datagrams;
  io::CTimers& timers;
  std::vector<io::CDatagrams*> heard;
  ApduHandler apduHandler;
  MessageHandler messageHandler;
  ResultHandler resultHandler;
  std::optional<Registration> registration;
  std::uint64_t dropped = 0;
};

void CNetwork::Impl::receive(const io::Address& from, std::string_view bytes) {
  const auto bvlc = parseBvlc(bytes);
  Incoming incoming;
  incoming.datagramFrom = from;
  incoming.station.address = from;
  switch (bvlc ? bvlc->function : BvlcFunction::kDistributeBroadcast) {
    case BvlcFunction::kResult:
      if (resultHandler) resultHandler(from, bvlc->result);
      return;
    case BvlcFunction::kOriginalUnicast:
      return receiveNpdu(std::move(incoming), bvlc->npdu);
    case BvlcFunction::kForwardedNpdu:
      incoming.station.address = bvlc->origin;
      [[fallthrough]];
    case BvlcFunction::kOriginalBroadcast:
      incoming.isBroadcast = true;
      return receiveNpdu(std::move(incoming), bvlc->npdu);
    default:
      ++dropped;  // what is for a BBMD, or no BACnet/IP at all
  }
}

void CNetwork::Impl::receiveNpdu(Incoming incoming, std::string_view bytes) {
  auto npdu = parseNpdu(bytes);
  const bool isForUs = npdu && (!npdu->destination || npdu->destination->network == kGlobalNetwork);
  if (!isForUs || (npdu->source && isImpossible(*npdu->source))) {
    ++dropped;
    return;
  }
  incoming.isBroadcast = incoming.isBroadcast || npdu->destination.has_value();
  incoming.expectsReply = npdu->expectsReply;
  incoming.station.remote = std::move(npdu->source);
  if (npdu->message) {
    if (messageHandler) messageHandler(incoming, *npdu->message);
    return;
  }
  const auto apdu = parseApdu(npdu->apdu);
  if (!apdu) {
    ++dropped;
  } else if (apduHandler) {
    apduHandler(incoming, *apdu);
  }
}

void CNetwork::Impl::send(const io::Address& to, BvlcFunction function, const Npdu& npdu) {
  const std::string bytes = encodeNpdu(npdu);
  Bvlc bvlc;
  bvlc.function = function;
  bvlc.npdu = bytes;
  datagrams.send(to, encodeBvlc(bvlc));
}

void CNetwork::Impl::broadcast(const io::Address& to, const Npdu& npdu) {
  if (registration) {
    send(registration->bbmd, BvlcFunction::kDistributeBroadcast, npdu);
  } else {
    send(to, BvlcFunction::kOriginalBroadcast, npdu);
  }
}

void CNetwork::Impl::registerAgain() {
  Bvlc bvlc;
  bvlc.function = BvlcFunction::kRegisterForeignDevice;
  bvlc.timeToLive = registration->secondsToLive;
  datagrams.send(registration->bbmd, encodeBvlc(bvlc));
  registration->timer = timers.after(registration->again, [this] { registerAgain(); });
}

CNetwork::CNetwork(io::CDatagrams& datagrams, io::CTimers& timers) : impl_(std::make_unique<Impl>(datagrams, timers)) {
  impl_->listen(datagrams);
}

CNetwork::~CNetwork() {
  for (auto* datagrams : impl_->heard) datagrams->onReceive([](const io::Address&, std::string_view) {});
}

void CNetwork::listen(io::CDatagrams& datagrams) {
  impl_->listen(datagrams);
}
void CNetwork::onApdu(ApduHandler handler) {
  impl_->apduHandler = std::move(handler);
}
void CNetwork::onMessage(MessageHandler handler) {
  impl_->messageHandler = std::move(handler);
}
void CNetwork::onResult(ResultHandler handler) {
  impl_->resultHandler = std::move(handler);
}
std::uint64_t CNetwork::dropped() const {
  return impl_->dropped;
}

void CNetwork::send(const Station& to, const Apdu& apdu, bool expectsReply) {
  const std::string bytes = encodeApdu(apdu);
  Npdu npdu;
  npdu.expectsReply = expectsReply;
  npdu.destination = to.remote;
  npdu.apdu = bytes;
  impl_->send(to.address, BvlcFunction::kOriginalUnicast, npdu);
}

void CNetwork::broadcast(const io::Address& broadcast, std::uint16_t network, const Apdu& apdu) {
  const std::string bytes = encodeApdu(apdu);
  Npdu npdu;
  if (network != kLocalNetwork) npdu.destination = NetworkAddress{network, {}};
  npdu.apdu = bytes;
  impl_->broadcast(broadcast, npdu);
}

void CNetwork::broadcastThrough(const io::Address& router, std::uint16_t network, const Apdu& apdu) {
  send(Station{router, NetworkAddress{network, {}}}, apdu, false);
}

void CNetwork::askForRouter(const io::Address& broadcast, std::uint16_t network) {
  const std::string data = encodeNetworks({network});
  impl_->broadcast(broadcast, whoIsRouter(data));
}

void CNetwork::askRouter(const io::Address& router, std::uint16_t network) {
  const std::string data = encodeNetworks({network});
  impl_->send(router, BvlcFunction::kOriginalUnicast, whoIsRouter(data));
}

void CNetwork::registerForeignDevice(const io::Address& bbmd, std::uint16_t secondsToLive, io::Duration again) {
  impl_->registration = Impl::Registration{bbmd, secondsToLive, again, {}};
  impl_->registerAgain();
}

}  // namespace bacnet
