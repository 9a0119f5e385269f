#include "bacnet/codec/apdu.h"

#include <iterator>

#include "bacnet/codec/octets.h"

namespace bacnet {
namespace {

enum class PduType : std::uint8_t {
  kConfirmedRequest = 0,
  kUnconfirmedRequest = 1,
  kSimpleAck = 2,
  kComplexAck = 3,
  kSegmentAck = 4,
  kError = 5,
  kReject = 6,
  kAbort = 7,
};

constexpr std::uint8_t kIsSegmented = 0x08;
constexpr std::uint8_t kHasMore = 0x04;
constexpr std::uint8_t kTakesSegmentedAnswer = 0x02;
constexpr std::uint8_t kIsNegative = 0x02;
constexpr std::uint8_t kFromServer = 0x01;

std::size_t apduSize(std::uint8_t code) {
  return code < std::size(kApduSizes) ? kApduSizes[code] : kApduSizes[0];
}

// The code of the largest size that is no more than `octets`.
std::uint8_t apduSizeCode(std::size_t octets) {
  std::uint8_t code = std::size(kApduSizes) - 1;
  while (code > 0 && kApduSizes[code] > octets) --code;
  return code;
}

std::optional<Segment> segmentIn(COctets& in, std::uint8_t flags) {
  if ((flags & kIsSegmented) == 0) return std::nullopt;
  Segment segment;
  segment.sequence = in.next();
  segment.window = in.next();
  segment.more = (flags & kHasMore) != 0;
  return segment;
}

Apdu confirmedRequest(COctets& in, std::uint8_t flags) {
  ConfirmedRequest pdu;
  pdu.takesSegmentedAnswer = (flags & kTakesSegmentedAnswer) != 0;
  const std::uint8_t sizes = in.next();
  pdu.maxSegmentsCode = sizes >> 4 & 7;
  pdu.maxApdu = apduSize(sizes & 0x0F);
  pdu.invokeId = in.next();
  pdu.segment = segmentIn(in, flags);
  pdu.service = static_cast<ConfirmedService>(in.next());
  pdu.data = in.rest();
  return pdu;
}

Apdu unconfirmedRequest(COctets& in) {
  UnconfirmedRequest pdu;
  pdu.service = static_cast<UnconfirmedService>(in.next());
  pdu.data = in.rest();
  return pdu;
}

Apdu simpleAck(COctets& in) {
  SimpleAck pdu;
  pdu.invokeId = in.next();
  pdu.service = static_cast<ConfirmedService>(in.next());
  return pdu;
}

Apdu complexAck(COctets& in, std::uint8_t flags) {
  ComplexAck pdu;
  pdu.invokeId = in.next();
  pdu.segment = segmentIn(in, flags);
  pdu.service = static_cast<ConfirmedService>(in.next());
  pdu.data = in.rest();
  return pdu;
}

Apdu segmentAck(COctets& in, std::uint8_t flags) {
  SegmentAck pdu;
  pdu.isNegative = (flags & kIsNegative) != 0;
  pdu.fromServer = (flags & kFromServer) != 0;
  pdu.invokeId = in.next();
  pdu.sequence = in.next();
  pdu.window = in.next();
  return pdu;
}

Apdu error(COctets& in) {
  ErrorPdu pdu;
  pdu.invokeId = in.next();
  pdu.service = static_cast<ConfirmedService>(in.next());
  pdu.data = in.rest();
  return pdu;
}

Apdu reject(COctets& in) {
  RejectPdu pdu;
  pdu.invokeId = in.next();
  pdu.reason = in.next();
  return pdu;
}

Apdu abort(COctets& in, std::uint8_t flags) {
  AbortPdu pdu;
  pdu.fromServer = (flags & kFromServer) != 0;
  pdu.invokeId = in.next();
  pdu.reason = in.next();
  return pdu;
}

std::optional<Apdu> pduOf(PduType type, COctets& in, std::uint8_t flags) {
  switch (type) {
    case PduType::kConfirmedRequest:
      return confirmedRequest(in, flags);
    case PduType::kUnconfirmedRequest:
      return unconfirmedRequest(in);
    case PduType::kSimpleAck:
      return simpleAck(in);
    case PduType::kComplexAck:
      return complexAck(in, flags);
    case PduType::kSegmentAck:
      return segmentAck(in, flags);
    case PduType::kError:
      return error(in);
    case PduType::kReject:
      return reject(in);
    case PduType::kAbort:
      return abort(in, flags);
  }
  return std::nullopt;
}

// Encodes each PDU; the result grows in `out`.
struct Encoder {
  std::string& out;

  void octet(unsigned value) const { out += static_cast<char>(value); }
  void start(PduType type, unsigned flags) const { octet(static_cast<unsigned>(type) << 4 | flags); }
  void service(ConfirmedService service) const { octet(static_cast<unsigned>(service)); }
  static unsigned segmentFlags(const std::optional<Segment>& segment) {
    if (!segment) return 0;
    return segment->more ? kIsSegmented | kHasMore : kIsSegmented;
  }
  void position(const std::optional<Segment>& segment) const {
    if (!segment) return;
    octet(segment->sequence);
    octet(segment->window);
  }

  void operator()(const ConfirmedRequest& pdu) const {
    const unsigned takes = pdu.takesSegmentedAnswer ? kTakesSegmentedAnswer : 0;
    start(PduType::kConfirmedRequest, segmentFlags(pdu.segment) | takes);
    octet((pdu.maxSegmentsCode & 7U) << 4 | apduSizeCode(pdu.maxApdu));
    octet(pdu.invokeId);
    position(pdu.segment);
    service(pdu.service);
    out += pdu.data;
  }
  void operator()(const UnconfirmedRequest& pdu) const {
    start(PduType::kUnconfirmedRequest, 0);
    octet(static_cast<unsigned>(pdu.service));
    out += pdu.data;
  }
  void operator()(const SimpleAck& pdu) const {
    start(PduType::kSimpleAck, 0);
    octet(pdu.invokeId);
    service(pdu.service);
  }
  void operator()(const ComplexAck& pdu) const {
    start(PduType::kComplexAck, segmentFlags(pdu.segment));
    octet(pdu.invokeId);
    position(pdu.segment);
    service(pdu.service);
    out += pdu.data;
  }
  void operator()(const SegmentAck& pdu) const {
    start(PduType::kSegmentAck, (pdu.isNegative ? kIsNegative : 0U) | (pdu.fromServer ? kFromServer : 0U));
    octet(pdu.invokeId);
    octet(pdu.sequence);
    octet(pdu.window);
  }
  void operator()(const ErrorPdu& pdu) const {
    start(PduType::kError, 0);
    octet(pdu.invokeId);
    service(pdu.service);
    out += pdu.data;
  }
  void operator()(const RejectPdu& pdu) const {
    start(PduType::kReject, 0);
    octet(pdu.invokeId);
    octet(pdu.reason);
  }
  void operator()(const AbortPdu& pdu) const {
    start(PduType::kAbort, pdu.fromServer ? kFromServer : 0);
    octet(pdu.invokeId);
    octet(pdu.reason);
  }
};

}  // namespace

std::optional<Apdu> parseApdu(std::string_view bytes) {
  COctets in(bytes);
  const std::uint8_t first = in.next();
  auto pdu = pduOf(static_cast<PduType>(first >> 4), in, first & 0x0F);
  if (in.isCut()) return std::nullopt;
  return pdu;
}

std::string encodeApdu(const Apdu& apdu) {
  std::string out;
  std::visit(Encoder{out}, apdu);
  return out;
}

}  // namespace bacnet
