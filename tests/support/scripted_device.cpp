#include "support/scripted_device.h"

#include "bacnet/codec/bvlc.h"
#include "bacnet/number/failures.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"
#include "bacnet/service/discovery.h"

namespace test {

using namespace bacnet;

Answer keepsQuiet() {
  return [](const auto&) { return kNoAnswer; };
}
Answer acknowledges(const std::string& data) {
  return [data](const auto& r) { return ComplexAck{r.invokeId, r.service, {}, data}; };
}
Answer errs(std::uint32_t errorClass, std::uint32_t code) {
  const ErrorReply reply{{errorClass, code}, {}};
  return [reply, data = std::string()](const auto& r) mutable {
    data = encodeError(r.service, reply);
    return ErrorPdu{r.invokeId, r.service, data};
  };
}
Answer rejects(std::uint8_t reason) {
  return [reason](const auto& r) { return RejectPdu{r.invokeId, reason}; };
}
Answer aborts(std::uint8_t reason, bool fromServer) {
  return [=](const auto& r) { return AbortPdu{r.invokeId, fromServer, reason}; };
}
CScriptedDevice::Script where(std::function<bool(const ConfirmedRequest&, std::size_t)> applies, Answer answer) {
  return [applies = std::move(applies), answer = std::move(answer)](const auto& request, std::size_t items) {
    return applies(request, items) ? std::optional(answer(request)) : std::nullopt;
  };
}
CScriptedDevice::Script always(Answer answer) {
  return where([](const auto&, std::size_t) { return true; }, std::move(answer));
}

CScriptedDevice::CScriptedDevice(io::CFakeNetwork& network, io::CFakeClock& clock, io::Address address,
                                 std::uint32_t id)
    : network_(network), clock_(clock), made_(clock.now()), self_{object_type::kDevice, id} {
  moveTo(address);
}

void CScriptedDevice::moveTo(io::Address address) {
  socket_ = network_.open(address);
  socket_->onReceive([this](const io::Address& from, std::string_view bytes) { receive(from, bytes); });
  subscriptions.clear();
}

void CScriptedDevice::receive(const io::Address& from, std::string_view bytes) {
  const auto bvlc = parseBvlc(bytes);
  const auto npdu = bvlc ? parseNpdu(bvlc->npdu) : std::nullopt;
  if (isDead || !npdu) return;
  client_ = from;
  if (npdu->message) {
    const auto networks = parseNetworks(npdu->message->data);
    if (behind && networks && networks->front() == behind->network) {
      sendMessage(NetworkMessageType::kIAmRouterToNetwork, encodeNetworks({behind->network}));
    }
    return;
  }
  const auto isTheirs = [&] { return npdu->destination && npdu->destination->network == behind->network; };
  if (behind ? !isTheirs() : npdu->destination.has_value()) return;
  const auto apdu = parseApdu(npdu->apdu);
  if (!apdu) return;
  if (const auto* request = std::get_if<ConfirmedRequest>(&*apdu)) {
    onRequest(*request);
  } else if (const auto* unconfirmed = std::get_if<UnconfirmedRequest>(&*apdu)) {
    if (unconfirmed->service == UnconfirmedService::kWhoIs) onWhoIs(unconfirmed->data);
  } else if (const auto* segmentAck = std::get_if<SegmentAck>(&*apdu); segmentAck && outgoing_) {
    const auto step = outgoing_->take(*segmentAck);
    if (step == CSegmenter::Step::kSendWindow) sendWindow();
    if (step == CSegmenter::Step::kDone) repetition_.cancel();
  } else {
    heard.push_back(*apdu);
  }
}

void CScriptedDevice::onWhoIs(std::string_view data) {
  const auto asks = parseWhoIs(data);
  ++whoIs;
  const auto id = self_.instance;
  if (announces && asks && (!asks->range || (asks->range->first <= id && id <= asks->range->second))) iAm();
}

void CScriptedDevice::iAm() {
  const std::string data = encode(IAm{self_.instance, static_cast<std::uint32_t>(maxApdu), Segmentation::kBoth, 7});
  send(UnconfirmedRequest{UnconfirmedService::kIAm, data});
}

void CScriptedDevice::onRequest(const ConfirmedRequest& request) {
  if (!request.segment) return answer(request);
  if (request.segment->sequence == 0) incoming_.clear();
  incoming_ += request.data;
  SegmentAck segmentAck;
  segmentAck.invokeId = request.invokeId;
  segmentAck.fromServer = true;
  segmentAck.sequence = request.segment->sequence;
  segmentAck.window = 1;
  send(segmentAck);
  if (request.segment->more) return;
  ConfirmedRequest whole = request;
  whole.data = incoming_;
  answer(whole);
}

void CScriptedDevice::answer(const ConfirmedRequest& request) {
  std::size_t items = 1;
  if (request.service == ConfirmedService::kReadPropertyMultiple) {
    items = 0;
    const auto wanted = parseReadPropertyMultiple(request.data).value();
    for (const auto& access : wanted) items += access.references.size();
  } else if (request.service == ConfirmedService::kWritePropertyMultiple) {
    items = 0;
    const auto wanted = parseWritePropertyMultiple(request.data).value();
    for (const auto& access : wanted) items += access.writes.size();
  }
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(clock_.now() - made_).count();
  asked.push_back({static_cast<int>(ms), request.service, request.invokeId, items, request.data.size() + 4});
  if (script) {
    const auto scripted = script(request, items);
    if (scripted && std::holds_alternative<SegmentAck>(*scripted)) return;
    if (scripted) return send(*scripted);
  }
  std::optional<Apdu> reply;
  switch (request.service) {
    case ConfirmedService::kReadProperty:
      reply = readProperty(request);
      break;
    case ConfirmedService::kReadPropertyMultiple:
      reply = readMultiple(request);
      break;
    case ConfirmedService::kWriteProperty: {
      const auto write = parseWriteProperty(request.data).value();
      properties[{write.object, write.reference}] = write.values;
      reply = SimpleAck{request.invokeId, request.service};
      break;
    }
    case ConfirmedService::kWritePropertyMultiple:
      reply = writeMultiple(request);
      break;
    case ConfirmedService::kSubscribeCov:
      reply = subscribe(request);
      break;
    default:
      break;
  }
  if (!reply) return send(RejectPdu{request.invokeId, reject_reason::kUnrecognizedService});
  const auto* complex = std::get_if<ComplexAck>(&*reply);
  if (complex && segmentOctets > 0 && complex->data.size() > segmentOctets) {
    outgoing_ = std::make_unique<CSegmenter>(std::string(complex->data), segmentOctets, window);
    outgoingAck_ = *complex;
    sendWindow();
  } else if (complex && complex->data.size() + 3 > maxApdu) {
    send(AbortPdu{request.invokeId, true, abort_reason::kSegmentationNotSupported});
  } else {
    send(*reply);
    if (request.service == ConfirmedService::kSubscribeCov && std::holds_alternative<SimpleAck>(*reply)) {
      const auto wanted = parseSubscribeCov(request.data).value();
      notify(wanted.object, wanted.process, wanted.confirmed.value());
    }
  }
}

void CScriptedDevice::sendWindow(int repetitions) {
  if (repetitions > 0) repetition_ = clock_.after(std::chrono::seconds(1), [=] { sendWindow(repetitions - 1); });
  for (const auto& piece : outgoing_->window()) {
    outgoingAck_.segment = piece.segment;
    outgoingAck_.data = piece.data;
    send(outgoingAck_);
  }
}

CScriptedDevice::Property CScriptedDevice::find(const PropertyAddress& address) const {
  if (address.object.type == object_type::kDevice) {
    if (address.object.instance != self_.instance && address.object.instance != kLargestInstance) {
      return Error{error_class::kObject, error_code::kUnknownObject};
    }
    switch (address.reference.property) {
      case property::kObjectIdentifier:
        return Values{self_};
      case property::kMaxApduLengthAccepted:
        return Values{std::uint64_t{maxApdu}};
      case property::kSegmentationSupported:
        return Values{Enumerated{0}};
      default:
        return Error{error_class::kProperty, error_code::kUnknownProperty};
    }
  }
  const auto found = properties.find(address);
  return found == properties.end() ? Error{error_class::kObject, error_code::kUnknownObject} : found->second;
}

Apdu CScriptedDevice::ack(const ConfirmedRequest& request, std::string data) {
  data_ = std::move(data);
  return ComplexAck{request.invokeId, request.service, {}, data_};
}

Apdu CScriptedDevice::error(const ConfirmedRequest& request, const ErrorReply& reply) {
  data_ = encodeError(request.service, reply);
  return ErrorPdu{request.invokeId, request.service, data_};
}

std::optional<Apdu> CScriptedDevice::readProperty(const ConfirmedRequest& request) {
  const auto read = parseReadProperty(request.data).value();
  const auto content = find({read.object, read.reference});
  if (const auto* failure = std::get_if<Error>(&content)) return error(request, {*failure, {}});
  return ack(request, encode(ReadPropertyAck{read.object, read.reference, std::get<Values>(content)}));
}

std::optional<Apdu> CScriptedDevice::readMultiple(const ConfirmedRequest& request) {
  ReadPropertyMultipleAck results;
  const auto wanted = parseReadPropertyMultiple(request.data).value();
  for (const auto& [object, references] : wanted) {
    results.push_back({object, {}});
    for (const auto& reference : references) {
      results.back().results.push_back({reference, find({object, reference})});
    }
  }
  return ack(request, encode(results));
}

std::optional<Apdu> CScriptedDevice::writeMultiple(const ConfirmedRequest& request) {
  const auto wanted = parseWritePropertyMultiple(request.data).value();
  for (const auto& [object, writes] : wanted) {
    for (const auto& write : writes) {
      const PropertyAddress address{object, write.reference};
      const auto content = find(address);
      if (const auto* failure = std::get_if<Error>(&content)) {
        return error(request, {*failure, FailedWrite{object, write.reference}});
      }
      properties[address] = write.values;
    }
  }
  return SimpleAck{request.invokeId, request.service};
}

std::optional<Apdu> CScriptedDevice::subscribe(const ConfirmedRequest& request) {
  const auto wanted = parseSubscribeCov(request.data).value();
  if (!takesCov) return error(request, {{error_class::kServices, error_code::kCovSubscriptionFailed}, {}});
  subscriptions[wanted.object] = wanted;
  return SimpleAck{request.invokeId, request.service};
}

void CScriptedDevice::set(ObjectId object, Value value) {
  properties[{object, {property::kPresentValue, {}}}] = Values{std::move(value)};
  const auto subscribed = subscriptions.find(object);
  if (subscribed == subscriptions.end() || isDead) return;
  notify(object, subscribed->second.process, subscribed->second.confirmed.value());
}

Values CScriptedDevice::get(ObjectId object) const {
  return std::get<Values>(properties.at({object, {property::kPresentValue, {}}}));
}

void CScriptedDevice::notify(ObjectId object, std::uint32_t process, bool confirmed) {
  CovNotification notification{process, self_.instance, object, timeRemaining, {}};
  notification.values.resize(2);  // the value not first: it has to be told by its property
  notification.values[0].reference = {property::kStatusFlags, {}};
  notification.values[0].values = {BitString{{false, false, false, false}}};
  notification.values[1].reference = {property::kPresentValue, {}};
  notification.values[1].values = get(object);
  const std::string data = encode(notification);
  ++notifications;
  if (!confirmed) return send(UnconfirmedRequest{UnconfirmedService::kUnconfirmedCovNotification, data});
  ConfirmedRequest request;
  request.invokeId = ++invokeId_;
  request.service = ConfirmedService::kConfirmedCovNotification;
  request.data = data;
  send(request);
}

void CScriptedDevice::send(const Apdu& apdu) {
  const std::string bytes = encodeApdu(apdu);
  Npdu npdu;
  npdu.source = behind;
  npdu.apdu = bytes;
  sendNpdu(npdu);
}

void CScriptedDevice::sendMessage(NetworkMessageType type, const std::string& data) {
  Npdu npdu;
  npdu.message = NetworkMessage{static_cast<std::uint8_t>(type), 0, data};
  sendNpdu(npdu);
}

void CScriptedDevice::sendNpdu(Npdu npdu) {
  if (isMute) return;
  const std::string bytes = encodeNpdu(npdu);
  Bvlc bvlc;
  bvlc.npdu = bytes;
  socket_->send(client_, encodeBvlc(bvlc));
}

std::size_t CScriptedDevice::count(ConfirmedService service) const {
  std::size_t n = 0;
  for (const auto& one : asked) n += one.service == service ? 1 : 0;
  return n;
}

}  // namespace test
