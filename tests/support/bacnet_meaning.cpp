#include "support/bacnet_meaning.h"

#include <cmath>

#include "bacnet/codec/bvlc.h"
#include "bacnet/codec/describe.h"
#include "bacnet/codec/npdu.h"
#include "bacnet/codec/octets.h"
#include "bacnet/codec/primitive.h"
#include "bacnet/codec/reader.h"
#include "bacnet/service/failure.h"
#include "support/services.h"

namespace support {
namespace {

using nlohmann::json;
using Meaning = std::optional<json>;
using namespace bacnet;

std::string hex(const std::string& bytes) {
  return describe(OctetString{bytes});
}
json object(const ObjectId& id) {
  return {id.type, id.instance};
}
json field(std::uint8_t octet, int offset = 0) {
  return octet == 255 ? json() : json(octet + offset);
}
json list(const Values& values);

struct ToJson {
  json operator()(const Null&) const { return {{"null", nullptr}}; }
  json operator()(bool value) const { return {{"boolean", value}}; }
  json operator()(std::uint64_t value) const { return {{"unsigned", value}}; }
  json operator()(std::int64_t value) const { return {{"signed", value}}; }
  json operator()(float value) const { return {{"real", static_cast<double>(value)}}; }
  json operator()(double value) const { return {{"double", value}}; }
  json operator()(const OctetString& value) const { return {{"octets", hex(value.bytes)}}; }
  json operator()(const CharacterString& value) const { return {{"text", utf8Of(value)}, {"charset", value.charset}}; }
  json operator()(const BitString& value) const { return {{"bits", describe(Value(value))}}; }
  json operator()(const Enumerated& value) const { return {{"enumerated", value.number}}; }
  json operator()(const Date& d) const {
    return {{"date", {field(d.year, 1900), field(d.month), field(d.day), field(d.weekday)}}};
  }
  json operator()(const Time& t) const {
    return {{"time", {field(t.hour), field(t.minute), field(t.second), field(t.hundredth)}}};
  }
  json operator()(const ObjectId& value) const { return {{"object", object(value)}}; }
  json operator()(const ContextPrimitive& value) const { return {{"context", value.tag}, {"hex", hex(value.bytes)}}; }
  json operator()(const UnknownPrimitive& value) const { return {{"unknown", value.tag}, {"hex", hex(value.bytes)}}; }
  json operator()(const Constructed& value) const { return {{"context", value.tag}, {"items", list(value.items)}}; }
};

json list(const Values& values) {
  json result = json::array();
  for (const Value& value : values) result.push_back(std::visit(ToJson(), value));
  return result;
}

void put(json& into, const PropertyReference& reference) {
  into["property"] = reference.property;
  if (reference.index) into["index"] = *reference.index;
}
json errorJson(const Error& error) {
  return {{"class", error.errorClass}, {"code", error.errorCode}};
}
json writeJson(const PropertyWrite& write) {
  json result{{"values", list(write.values)}};
  put(result, write.reference);
  if (write.priority) result["priority"] = *write.priority;
  return result;
}
json resultJson(const ReadResult& read) {
  json out;
  if (const auto* values = std::get_if<Values>(&read.result)) {
    out["values"] = list(*values);
  } else {
    out["error"] = errorJson(std::get<Error>(read.result));
  }
  put(out, read.reference);
  return out;
}

json say(const ReadPropertyRequest& request) {
  json out{{"object", object(request.object)}};
  put(out, request.reference);
  return out;
}
json say(const ReadPropertyAck& ack) {
  json out{{"object", object(ack.object)}, {"values", list(ack.values)}};
  put(out, ack.reference);
  return out;
}
json say(const WritePropertyRequest& request) {
  json out = writeJson({request.reference, request.values, request.priority});
  out["object"] = object(request.object);
  return out;
}
// The three services with a list for each of several objects.
template <class Accesses, class Items, class Say>
json sayEach(const Accesses& accesses, Items items, Say sayOne) {
  json objects = json::array();
  for (const auto& access : accesses) {
    json& entry = objects.emplace_back(json{{"object", object(access.object)}, {"list", json::array()}});
    for (const auto& item : access.*items) entry["list"].push_back(sayOne(item));
  }
  return {{"objects", objects}};
}
json say(const ReadPropertyMultipleRequest& request) {
  return sayEach(request, &ReadAccess::references, [](const PropertyReference& reference) {
    json out;
    put(out, reference);
    return out;
  });
}
json say(const ReadPropertyMultipleAck& ack) {
  return sayEach(ack, &ReadAccessResult::results, resultJson);
}
json say(const WritePropertyMultipleRequest& request) {
  return sayEach(request, &WriteAccess::writes, writeJson);
}
json say(const SubscribeCov& request) {
  json out{{"process", request.process}, {"object", object(request.object)}};
  if (request.confirmed) out["confirmed"] = *request.confirmed;
  if (request.lifetime) out["lifetime"] = *request.lifetime;
  return out;
}
json say(const CovNotification& notification) {
  json out{{"process", notification.process},
           {"device", {8, notification.device}},
           {"object", object(notification.object)},
           {"seconds", notification.timeRemaining},
           {"list", json::array()}};
  for (const CovValue& value : notification.values) out["list"].push_back(writeJson(value));
  return out;
}
json say(const WhoIs& request) {
  if (!request.range) return json::object();
  return {{"low", request.range->first}, {"high", request.range->second}};
}
json say(const IAm& answer) {
  return {{"device", {8, answer.device}},
          {"max_apdu", answer.maxApdu},
          {"segmentation", static_cast<int>(answer.segmentation)},
          {"vendor", answer.vendor}};
}
json say(const Values& values) {
  return {{"items", list(values)}};
}

constexpr auto kSay = [](const auto& service) { return service ? Meaning(say(*service)) : std::nullopt; };

// Services that nothing of ours takes part in are read by the reader alone.
Meaning whoHas(CReader in) {
  json out{{"low", in.contextUnsigned(0)}, {"high", in.contextUnsigned(1)}, {"object", object(in.contextObject(2))}};
  return in.finished() ? Meaning(out) : std::nullopt;
}
Meaning iHave(CReader in) {
  json out{{"device", object(in.take<ObjectId>())}, {"object", object(in.take<ObjectId>())}};
  out["name"] = utf8Of(in.take<CharacterString>());
  return in.finished() ? Meaning(out) : std::nullopt;
}
Meaning timeSynchronization(CReader in) {
  json out = ToJson()(in.take<Date>());
  out.update(ToJson()(in.take<Time>()));
  return in.finished() ? Meaning(out) : std::nullopt;
}
Meaning subscribeProperty(CReader in) {
  json out{{"process", in.contextUnsigned(0)}, {"object", object(in.contextObject(1))}};
  out["confirmed"] = in.contextBoolean(2);
  out["lifetime"] = in.contextUnsigned(3);
  in.open(4);
  put(out, in.reference(0));
  in.close(4);
  if (in.comes(Tag::Kind::kContext, 5)) {
    const auto real = primitiveIn(4, in.take<ContextPrimitive>().bytes);
    out["increment"] = real ? json(std::get<float>(*real)) : json();
  }
  return in.finished() ? Meaning(out) : std::nullopt;
}
Meaning reinitialize(CReader in) {
  json out{{"state", in.contextUnsigned(0)}};
  const auto password = primitiveIn(7, in.take<ContextPrimitive>().bytes);
  if (!in.finished() || !password) return std::nullopt;
  out["password"] = utf8Of(std::get<CharacterString>(*password));
  return out;
}

Meaning request(ConfirmedService service, std::string_view data) {
  if (static_cast<int>(service) == 20) return reinitialize(CReader(data));
  if (static_cast<int>(service) == 28) return subscribeProperty(CReader(data));
  return withRequest(service, data, kSay);
}
Meaning unconfirmed(UnconfirmedService service, std::string_view data) {
  if (static_cast<int>(service) == 1) return iHave(CReader(data));
  if (static_cast<int>(service) == 6) return timeSynchronization(CReader(data));
  if (static_cast<int>(service) == 7) return whoHas(CReader(data));
  return withUnconfirmed(service, data, kSay);
}

// A segment's position and size, or the whole service.
Meaning body(json head, const std::optional<Segment>& segment, std::string_view data, const Meaning& whole) {
  if (segment) {
    head.update(json{{"segmented", true},
                     {"more", segment->more},
                     {"sequence", segment->sequence},
                     {"window", segment->window},
                     {"segment_octets", data.size()}});
    return head;
  }
  if (!whole) return std::nullopt;
  head.update(*whole);
  return head;
}

json maxSegments(int code) {
  if (code == 0) return "unspecified";
  return code == 7 ? json("more than 64") : json(1 << code);
}

struct PduToJson {
  Meaning operator()(const ConfirmedRequest& pdu) const {
    const json head{{"type", "confirmed-request"},
                    {"invoke", pdu.invokeId},
                    {"service", pdu.service},
                    {"max_apdu", pdu.maxApdu},
                    {"max_segments", maxSegments(pdu.maxSegmentsCode)},
                    {"segmented_response_accepted", pdu.takesSegmentedAnswer}};
    return body(head, pdu.segment, pdu.data, pdu.segment ? std::nullopt : request(pdu.service, pdu.data));
  }
  Meaning operator()(const UnconfirmedRequest& pdu) const {
    return body({{"type", "unconfirmed-request"}, {"service", pdu.service}}, std::nullopt, pdu.data,
                unconfirmed(pdu.service, pdu.data));
  }
  Meaning operator()(const SimpleAck& pdu) const {
    return json{{"type", "simple-ack"}, {"invoke", pdu.invokeId}, {"service", pdu.service}};
  }
  Meaning operator()(const ComplexAck& pdu) const {
    return body({{"type", "complex-ack"}, {"invoke", pdu.invokeId}, {"service", pdu.service}}, pdu.segment, pdu.data,
                pdu.segment ? std::nullopt : withAnswer(pdu.service, pdu.data, kSay));
  }
  Meaning operator()(const SegmentAck& pdu) const {
    return json{{"type", "segment-ack"},  {"negative", pdu.isNegative}, {"server", pdu.fromServer},
                {"invoke", pdu.invokeId}, {"sequence", pdu.sequence},   {"window", pdu.window}};
  }
  Meaning operator()(const ErrorPdu& pdu) const {
    const auto reply = parseError(pdu.service, pdu.data);
    if (!reply) return std::nullopt;
    json out{{"type", "error"}, {"invoke", pdu.invokeId}, {"service", pdu.service}, {"error", errorJson(reply->error)}};
    if (reply->failedWrite) {
      out["first_failed"] = {{"object", object(reply->failedWrite->object)}};
      put(out["first_failed"], reply->failedWrite->reference);
    }
    const Values values = parseValues(pdu.data).value_or(Values());
    const bool isWrapped = !values.empty() && std::holds_alternative<Constructed>(values.front());
    if (isWrapped && !reply->failedWrite) out["items"] = list(Values(values.begin() + 1, values.end()));
    return out;
  }
  Meaning operator()(const RejectPdu& pdu) const {
    return json{{"type", "reject"}, {"invoke", pdu.invokeId}, {"reason", pdu.reason}};
  }
  Meaning operator()(const AbortPdu& pdu) const {
    return json{{"type", "abort"}, {"server", pdu.fromServer}, {"invoke", pdu.invokeId}, {"reason", pdu.reason}};
  }
};

Meaning networkMessage(const NetworkMessage& message) {
  json out{{"message", message.type}};
  if (message.type == static_cast<int>(NetworkMessageType::kRejectMessageToNetwork)) {
    const auto rejected = parseRejectedMessage(message.data);
    if (!rejected) return std::nullopt;
    out["reason"] = rejected->reason;
    out["network"] = rejected->network;
    return out;
  }
  const auto networks = parseNetworks(message.data);
  if (!networks) return std::nullopt;
  if (!networks->empty()) out["networks"] = *networks;
  return out;
}

Meaning npduMeaning(std::string_view bytes) {
  const auto npdu = parseNpdu(bytes);
  if (!npdu) return std::nullopt;
  json head{{"expecting_reply", npdu->expectsReply}, {"priority", npdu->priority}};
  if (npdu->destination) {
    head["dnet"] = npdu->destination->network;
    head["dadr"] = hex(npdu->destination->mac);
    head["hop_count"] = npdu->hopCount;
  }
  if (npdu->source) {
    head["snet"] = npdu->source->network;
    head["sadr"] = hex(npdu->source->mac);
  }
  if (npdu->message) {
    const Meaning message = networkMessage(*npdu->message);
    if (!message) return std::nullopt;
    head.update(*message);
    return json{{"npdu", head}};
  }
  const auto apdu = parseApdu(npdu->apdu);
  const Meaning pdu = apdu ? std::visit(PduToJson(), *apdu) : std::nullopt;
  if (!pdu) return std::nullopt;
  return json{{"npdu", head}, {"apdu", *pdu}};
}

// The tables of a BBMD; nothing of ours reads them.
json table(BvlcFunction function, std::string_view rows) {
  json out = json::array();
  for (; rows.size() >= 10; rows.remove_prefix(10)) {
    json& row = out.emplace_back(json{{"address", io::addressText(*addressOf(rows.substr(0, 6)))}});
    if (function == BvlcFunction::kReadBroadcastTableAck) {
      row["mask"] = io::ipText(static_cast<std::uint32_t>(numberOf(rows.substr(6, 4))));
    } else {
      row["ttl"] = numberOf(rows.substr(6, 2));
      row["remaining"] = numberOf(rows.substr(8, 2));
    }
  }
  return out;
}

}  // namespace

std::optional<json> meaningOf(std::string_view datagram) {
  const auto bvlc = parseBvlc(datagram);
  if (!bvlc) return std::nullopt;
  json head{{"function", bvlc->function}};
  switch (bvlc->function) {
    case BvlcFunction::kResult:
      head["result"] = bvlc->result;
      return json{{"bvlc", head}};
    case BvlcFunction::kRegisterForeignDevice:
      head["ttl"] = bvlc->timeToLive;
      return json{{"bvlc", head}};
    case BvlcFunction::kReadBroadcastTableAck:
    case BvlcFunction::kReadForeignTableAck:
      head["table"] = table(bvlc->function, bvlc->npdu);
      return json{{"bvlc", head}};
    case BvlcFunction::kForwardedNpdu:
      head["from"] = io::addressText(bvlc->origin);
      break;
    default:
      break;
  }
  Meaning out = npduMeaning(bvlc->npdu);
  if (out) (*out)["bvlc"] = head;
  return out;
}

std::string_view serviceOctets(std::string_view datagram) {
  const auto bvlc = parseBvlc(datagram);
  const auto npdu = bvlc ? parseNpdu(bvlc->npdu) : std::nullopt;
  const auto apdu = npdu ? parseApdu(npdu->apdu) : std::nullopt;
  if (!apdu) return {};
  if (const auto* request = std::get_if<ConfirmedRequest>(&*apdu)) return request->data;
  const auto* ack = std::get_if<ComplexAck>(&*apdu);
  return ack == nullptr ? std::string_view() : ack->data;
}

json reassembledMeaning(int service, bool isAnswer, std::string_view octets) {
  const auto choice = static_cast<ConfirmedService>(service);
  return (isAnswer ? withAnswer(choice, octets, kSay) : request(choice, octets)).value_or(json());
}

}  // namespace support
