#include "bacnet/codec/apdu.h"
#include "bacnet/codec/bvlc.h"
#include "bacnet/codec/npdu.h"
#include "bacnet/codec/octets.h"
#include "bacnet/codec/text.h"
#include "bacnet/codec/writer.h"
#include "bacnet/service/cov.h"
#include "bacnet/service/discovery.h"
#include "bacnet/service/failure.h"
#include "bacnet/service/property.h"
#include "support/bacnet_meaning.h"
#include "support/golden.h"

namespace support {
namespace {

using nlohmann::json;
using namespace bacnet;

ObjectId object(const json& meaning, const char* name = "object") {
  return {meaning.at(name).at(0), meaning.at(name).at(1)};
}
template <class Type>
std::optional<Type> optional(const json& meaning, const char* name) {
  if (!meaning.contains(name)) return std::nullopt;
  return meaning.at(name).get<Type>();
}
PropertyReference reference(const json& meaning) {
  return {meaning.at("property"), optional<ArrayIndex>(meaning, "index")};
}
CharacterString text(const json& meaning) {
  return characterString(meaning.at("text").get<std::string>(), meaning.at("charset")).value();
}
std::uint8_t field(const json& meaning, int offset = 0) {
  return meaning.is_null() ? std::uint8_t{255} : static_cast<std::uint8_t>(meaning.get<int>() - offset);
}
Date date(const json& f) {
  return {field(f[0], 1900), field(f[1]), field(f[2]), field(f[3])};
}
Time time(const json& f) {
  return {field(f[0]), field(f[1]), field(f[2]), field(f[3])};
}

Values values(const json& meanings);
Value value(const json& meaning) {
  if (meaning.contains("hex"))
    return ContextPrimitive{meaning.at("context"), bytesOfHex(meaning.at("hex").get<std::string>())};
  if (meaning.contains("items")) return Constructed{meaning.at("context"), values(meaning.at("items"))};
  if (meaning.contains("text")) return text(meaning);
  const std::string type = meaning.begin().key();
  const json& content = meaning.front();
  if (type == "boolean") return content.get<bool>();
  if (type == "unsigned") return content.get<std::uint64_t>();
  if (type == "signed") return content.get<std::int64_t>();
  if (type == "real") return content.get<float>();
  if (type == "double") return content.get<double>();
  if (type == "octets") return OctetString{bytesOfHex(content.get<std::string>())};
  if (type == "enumerated") return Enumerated{content};
  if (type == "date") return date(content);
  if (type == "time") return time(content);
  if (type == "object") return object(meaning);
  if (type != "bits") return Null{};
  BitString bits;
  for (const char bit : content.get<std::string>()) bits.bits.push_back(bit == '1');
  return bits;
}
Values values(const json& meanings) {
  Values result;
  for (const json& meaning : meanings) result.push_back(value(meaning));
  return result;
}

PropertyWrite written(const json& meaning) {
  return {reference(meaning), values(meaning.at("values")), optional<std::uint8_t>(meaning, "priority")};
}
ReadResult result(const json& meaning) {
  if (meaning.contains("values")) return {reference(meaning), values(meaning.at("values"))};
  return {reference(meaning), Error{meaning.at("error").at("class"), meaning.at("error").at("code")}};
}
// One entry for each object, with what `one` makes of each in its list.
template <class Access, class One>
std::string encodeEach(const json& meaning, One one) {
  std::vector<Access> accesses;
  for (const json& each : meaning.at("objects")) {
    Access& access = accesses.emplace_back(Access{object(each), {}});
    auto& [id, list] = access;
    for (const json& item : each.at("list")) list.push_back(one(item));
  }
  return encode(accesses);
}

std::string notification(const json& m) {
  CovNotification out{m.at("process"), object(m, "device").instance, object(m), m.at("seconds"), {}};
  for (const json& each : m.at("list")) out.values.push_back(written(each));
  return encode(out);
}
void contextPrimitive(CWriter& out, std::uint8_t tag, const Value& content) {
  out.value(ContextPrimitive{tag, encode(Values{content}).substr(1)});
}
std::string subscribeProperty(const json& m) {
  CWriter out;
  out.contextUnsigned(0, m.at("process"));
  out.contextObject(1, object(m));
  out.contextBoolean(2, m.at("confirmed"));
  out.contextUnsigned(3, m.at("lifetime"));
  out.open(4);
  out.reference(0, reference(m));
  out.close(4);
  if (m.contains("increment")) contextPrimitive(out, 5, m.at("increment").get<float>());
  return out.take();
}
std::string reinitialize(const json& m) {
  CWriter out;
  out.contextUnsigned(0, m.at("state"));
  const std::string password = m.at("password");
  out.value(ContextPrimitive{1, '\0' + password});
  return out.take();
}

std::string request(int service, const json& m) {
  switch (service) {
    case 1:
      return notification(m);
    case 5:
      return encode(SubscribeCov{m.at("process"), object(m), optional<bool>(m, "confirmed"),
                                 optional<std::uint32_t>(m, "lifetime")});
    case 12:
      return encode(ReadPropertyRequest{object(m), reference(m)});
    case 14:
      return encodeEach<ReadAccess>(m, reference);
    case 15: {
      const PropertyWrite write = written(m);
      return encode(WritePropertyRequest{object(m), write.reference, write.values, write.priority});
    }
    case 16:
      return encodeEach<WriteAccess>(m, written);
    case 20:
      return reinitialize(m);
    case 28:
      return subscribeProperty(m);
    default:
      return encode(values(m.at("items")));
  }
}
std::string answer(int service, const json& m) {
  if (service == 14) return encodeEach<ReadAccessResult>(m, result);
  return encode(ReadPropertyAck{object(m), reference(m), values(m.at("values"))});
}
std::string unconfirmed(int service, const json& m) {
  CWriter out;
  switch (service) {
    case 0:
      return encode(IAm{object(m, "device").instance, m.at("max_apdu"), m.at("segmentation"), m.at("vendor")});
    case 1:
      return encode(Values{object(m, "device"), object(m), characterString(m.at("name").get<std::string>())});
    case 2:
      return notification(m);
    case 6:
      return encode(Values{date(m.at("date")), time(m.at("time"))});
    case 7:
      out.contextUnsigned(0, m.at("low"));
      out.contextUnsigned(1, m.at("high"));
      out.contextObject(2, object(m));
      return out.take();
    case 8:
      return m.contains("low") ? encode(WhoIs{{{m.at("low"), m.at("high")}}}) : std::string();
    default:
      return encode(values(m.at("items")));
  }
}
std::string error(ConfirmedService service, const json& m) {
  ErrorReply reply{{m.at("error").at("class"), m.at("error").at("code")}, std::nullopt};
  if (m.contains("first_failed")) {
    reply.failedWrite = FailedWrite{object(m.at("first_failed")), reference(m.at("first_failed"))};
  }
  std::string plain = encodeError(service, reply);
  if (!m.contains("items")) return plain;
  return encode(Values{Constructed{0, parseValues(plain).value()}}) + encode(values(m.at("items")));
}

std::uint8_t maxSegmentsCode(const json& m) {
  if (m == "unspecified") return 0;
  std::uint8_t code = 1;
  while (code < 7 && m != 1 << code) ++code;
  return code;
}

std::string apdu(const json& m, std::string_view octets) {
  const std::string type = m.at("type");
  const std::uint8_t invoke = m.value("invoke", std::uint8_t{0});
  const int choice = m.value("service", 0);
  const auto service = static_cast<ConfirmedService>(choice);
  std::optional<Segment> segment;
  if (m.contains("segmented")) segment = Segment{m.at("sequence"), m.at("window"), m.at("more")};
  if (type == "confirmed-request") {
    const std::string whole = segment ? std::string(octets) : request(choice, m);
    return encodeApdu(ConfirmedRequest{invoke, service, m.at("segmented_response_accepted"),
                                       maxSegmentsCode(m.at("max_segments")), m.at("max_apdu"), segment, whole});
  }
  if (type == "complex-ack") {
    const std::string whole = segment ? std::string(octets) : answer(choice, m);
    return encodeApdu(ComplexAck{invoke, service, segment, whole});
  }
  if (type == "unconfirmed-request") {
    const std::string whole = unconfirmed(choice, m);
    return encodeApdu(UnconfirmedRequest{static_cast<UnconfirmedService>(choice), whole});
  }
  if (type == "error") {
    const std::string whole = error(service, m);
    return encodeApdu(ErrorPdu{invoke, service, whole});
  }
  if (type == "simple-ack") return encodeApdu(SimpleAck{invoke, service});
  if (type == "reject") return encodeApdu(RejectPdu{invoke, m.at("reason")});
  if (type == "abort") return encodeApdu(AbortPdu{invoke, m.at("server"), m.at("reason")});
  return encodeApdu(SegmentAck{invoke, m.at("negative"), m.at("server"), m.at("sequence"), m.at("window")});
}

std::string npdu(const json& meaning, std::string_view octets) {
  const json& m = meaning.at("npdu");
  Npdu out;
  out.expectsReply = m.at("expecting_reply");
  out.priority = m.at("priority");
  if (m.contains("dnet")) {
    out.destination = NetworkAddress{m.at("dnet"), bytesOfHex(m.at("dadr").get<std::string>())};
    out.hopCount = m.at("hop_count");
  }
  if (m.contains("snet")) out.source = NetworkAddress{m.at("snet"), bytesOfHex(m.at("sadr").get<std::string>())};
  std::string carried;
  if (!m.contains("message")) {
    carried = apdu(meaning.at("apdu"), octets);
    out.apdu = carried;
    return encodeNpdu(out);
  }
  carried = m.contains("reason") ? encodeRejectedMessage({m.at("reason"), m.at("network")})
                                 : encodeNetworks(m.value("networks", std::vector<std::uint16_t>()));
  out.message = NetworkMessage{m.at("message"), 0, carried};
  return encodeNpdu(out);
}

std::string table(const json& rows) {
  std::string out;
  for (const json& row : rows) {
    out += macOf(io::parseAddress(row.at("address").get<std::string>(), 0).value());
    const bool isForeign = row.contains("ttl");
    appendNumber(out,
                 isForeign ? row.at("ttl").get<std::uint32_t>() << 16 | row.at("remaining").get<std::uint32_t>()
                           : io::parseIp(row.at("mask").get<std::string>()).value(),
                 4);
  }
  return out;
}

}  // namespace

std::string datagramOf(const json& meaning, std::string_view segment) {
  const json& m = meaning.at("bvlc");
  Bvlc out;
  out.function = m.at("function");
  out.result = m.value("result", std::uint16_t{0});
  out.timeToLive = m.value("ttl", std::uint16_t{0});
  if (m.contains("from")) out.origin = io::parseAddress(m.at("from").get<std::string>(), 0).value();
  const std::string carried = m.contains("table")        ? table(m.at("table"))
                              : meaning.contains("npdu") ? npdu(meaning, segment)
                                                         : std::string();
  out.npdu = carried;
  return encodeBvlc(out);
}

}  // namespace support
