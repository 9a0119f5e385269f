#include "bacnet/server/server.h"

#include <string>
#include <utility>
#include <variant>

#include "bacnet/number/failures.h"
#include "bacnet/server/who_has.h"
#include "bacnet/service/discovery.h"

namespace bacnet::server {

namespace {

constexpr std::size_t kRequestHeader = 4;

std::string iAm(const CDevice& device) {
  const Abilities& abilities = device.abilities();
  return encode(
      IAm{device.instance(), static_cast<std::uint32_t>(abilities.maxApdu), abilities.segmentation, device.vendor()});
}

template <typename Range>
bool isWithin(const Range& range, std::uint32_t instance) {
  return !range || (instance >= range->first && instance <= range->second);
}

}  // namespace

CServer::CServer(CNetwork& network, io::CTimers& timers, CDevice& device, const io::Address& broadcast)
    : network_(network),
      device_(device),
      broadcast_(broadcast),
      notifier_(network, timers),
      covServer_(device, timers,
                 [this](const Station& to, bool confirmed, const CovNotification& notification,
                        std::function<void()> done) { notifier_.send(to, confirmed, notification, std::move(done)); }),
      responder_(device, covServer_),
      requests_(network, timers, device.abilities(),
                [this](const Station& from, const ConfirmedRequest& request) { execute(from, request); }),
      answers_(network, timers, device.abilities()) {
  network_.onApdu([this](const Incoming& from, const Apdu& apdu) { onApdu(from, apdu); });
}

void CServer::announce() {
  const std::string data = iAm(device_);
  network_.broadcast(broadcast_, kLocalNetwork, UnconfirmedRequest{UnconfirmedService::kIAm, data});
}

void CServer::restart() {
  covServer_.dropAll();
  notifier_.dropAll();
  requests_.dropAll();
  answers_.dropAll();
  announce();
}

void CServer::onApdu(const Incoming& from, const Apdu& apdu) {
  if (const auto* request = std::get_if<ConfirmedRequest>(&apdu)) {
    if (!from.isBroadcast) onRequest(from.station, *request);
  } else if (const auto* unconfirmed = std::get_if<UnconfirmedRequest>(&apdu)) {
    onUnconfirmed(from, *unconfirmed);
  } else if (const auto* segmentAck = std::get_if<SegmentAck>(&apdu)) {
    answers_.onSegmentAck(from.station, *segmentAck);
  } else if (const auto* abort = std::get_if<AbortPdu>(&apdu)) {
    onAbort(from.station, *abort);
  } else if (const auto* ack = std::get_if<SimpleAck>(&apdu)) {
    notifier_.onAnswer(from.station, ack->invokeId);
  } else if (const auto* error = std::get_if<ErrorPdu>(&apdu)) {
    notifier_.onAnswer(from.station, error->invokeId);
  } else if (const auto* reject = std::get_if<RejectPdu>(&apdu)) {
    notifier_.onAnswer(from.station, reject->invokeId);
  }
}

void CServer::onRequest(const Station& from, const ConfirmedRequest& request) {
  if (kRequestHeader + request.data.size() > device_.abilities().maxApdu) {
    network_.send(from, AbortPdu{request.invokeId, true, abort_reason::kApduTooLong}, false);
  } else if (request.segment) {
    requests_.take(from, request);
  } else {
    execute(from, request);
  }
}

void CServer::execute(const Station& from, const ConfirmedRequest& request) {
  if (answers_.isUnderWay({from, request.invokeId})) return;
  Answer answer = responder_.answer(from, request.service, request.data);
  if (auto* result = std::get_if<Result>(&answer)) {
    answers_.send(from, request, std::move(result->data));
  } else if (const auto* refused = std::get_if<Refused>(&answer)) {
    const std::string data = encodeError(request.service, refused->reply);
    network_.send(from, ErrorPdu{request.invokeId, request.service, data}, false);
  } else if (const auto* rejected = std::get_if<Rejected>(&answer)) {
    network_.send(from, RejectPdu{request.invokeId, rejected->reason}, false);
  } else {
    network_.send(from, SimpleAck{request.invokeId, request.service}, false);
  }
}

void CServer::onUnconfirmed(const Incoming& from, const UnconfirmedRequest& request) {
  if (request.service == UnconfirmedService::kWhoIs) {
    const auto whoIs = parseWhoIs(request.data);
    if (!whoIs || !isWithin(whoIs->range, device_.instance())) return;
    const std::string data = iAm(device_);
    replyToAll(from, {UnconfirmedService::kIAm, data});
  } else if (request.service == UnconfirmedService::kWhoHas) {
    const auto whoHas = parseWhoHas(request.data);
    if (!whoHas || !isWithin(whoHas->range, device_.instance())) return;
    const CObject* object = whoHas->object ? device_.find(*whoHas->object) : device_.findByName(whoHas->name.bytes);
    if (object == nullptr) return;
    const std::string data = encode(IHave{device_.deviceObject().id(), object->id(), text(object->name())});
    replyToAll(from, {UnconfirmedService::kIHave, data});
  }
}

// The client has given the answer up, or refuses a notification.
void CServer::onAbort(const Station& from, const AbortPdu& abort) {
  if (abort.fromServer) return notifier_.onAnswer(from, abort.invokeId);
  requests_.drop({from, abort.invokeId});
  answers_.drop({from, abort.invokeId});
}

// A broadcast is answered by one, on the asker's network; who asked alone, or through a BBMD, is told alone.
void CServer::replyToAll(const Incoming& asker, const UnconfirmedRequest& reply) {
  const bool isForwarded = asker.datagramFrom != asker.station.address;
  if (!asker.isBroadcast || isForwarded) {
    network_.send(asker.station, reply, false);
  } else if (asker.station.remote) {
    network_.broadcastThrough(asker.station.address, asker.station.remote->network, reply);
  } else {
    network_.broadcast(broadcast_, kLocalNetwork, reply);
  }
}

}  // namespace bacnet::server
