#include "support/datagram_echo.h"

#include <cstdlib>

#include "bacnet/codec/bvlc.h"
#include "bacnet/codec/describe.h"
#include "bacnet/codec/npdu.h"
#include "bacnet/service/failure.h"
#include "support/services.h"

namespace support {
namespace {

using namespace bacnet;
using Echo = std::optional<std::string>;

constexpr char kOpeningTag0 = 0x0E;

// Also shows values: whatever comes has to have a text, and that is UTF-8.
constexpr auto kEcho = [](const auto& service) {
  if constexpr (std::is_same_v<decltype(service), const std::optional<Values>&>) {
    if (service && !isUtf8(describe(*service))) std::abort();
  }
  return service ? Echo(encode(*service)) : std::nullopt;
};

Echo echoError(ConfirmedService service, std::string_view data) {
  const auto reply = parseError(service, data);
  if (!reply) return std::nullopt;
  const bool hasMore = !reply->failedWrite && data.front() == kOpeningTag0;  // which nothing of ours writes
  return hasMore ? kEcho(parseValues(data)) : encodeError(service, *reply);
}

// Gives each PDU its service's bytes anew.
struct PduEcho {
  template <class Pdu>
  Echo operator()(Pdu pdu) const {
    if constexpr (std::is_same_v<Pdu, ConfirmedRequest> || std::is_same_v<Pdu, ComplexAck>) {
      if (pdu.segment) return encodeApdu(pdu);
    }
    if constexpr (std::is_same_v<Pdu, ConfirmedRequest>) {
      return with(pdu, withRequest(pdu.service, pdu.data, kEcho));
    } else if constexpr (std::is_same_v<Pdu, ComplexAck>) {
      return with(pdu, withAnswer(pdu.service, pdu.data, kEcho));
    } else if constexpr (std::is_same_v<Pdu, UnconfirmedRequest>) {
      return with(pdu, withUnconfirmed(pdu.service, pdu.data, kEcho));
    } else if constexpr (std::is_same_v<Pdu, ErrorPdu>) {
      return with(pdu, echoError(pdu.service, pdu.data));
    } else {
      return encodeApdu(pdu);
    }
  }
  template <class Pdu>
  static Echo with(Pdu pdu, const Echo& data) {
    if (!data) return std::nullopt;
    pdu.data = *data;
    return encodeApdu(pdu);
  }
};

// A message with anything else than networks stays as it is.
Echo echoMessage(const NetworkMessage& message) {
  if (message.type == static_cast<int>(NetworkMessageType::kRejectMessageToNetwork)) {
    const auto rejected = parseRejectedMessage(message.data);
    return rejected ? Echo(encodeRejectedMessage(*rejected)) : std::nullopt;
  }
  const auto networks = parseNetworks(message.data);
  return networks ? encodeNetworks(*networks) : Echo(message.data);
}

Echo echoNpdu(std::string_view bytes) {
  auto npdu = parseNpdu(bytes);
  if (!npdu) return std::nullopt;
  const Echo carried = npdu->message ? echoMessage(*npdu->message) : echoApdu(npdu->apdu);
  if (!carried) return std::nullopt;
  (npdu->message ? npdu->message->data : npdu->apdu) = *carried;
  return encodeNpdu(*npdu);
}

bool carriesNpdu(BvlcFunction function) {
  return function == BvlcFunction::kForwardedNpdu ||
         (function >= BvlcFunction::kDistributeBroadcast && function <= BvlcFunction::kOriginalBroadcast);
}

}  // namespace

Echo echoApdu(std::string_view bytes) {
  const auto apdu = parseApdu(bytes);
  if (!apdu) return std::nullopt;
  return std::visit(PduEcho(), *apdu);
}

Echo echoDatagram(std::string_view bytes) {
  auto bvlc = parseBvlc(bytes);
  if (!bvlc) return std::nullopt;
  Echo npdu;
  if (carriesNpdu(bvlc->function)) {
    npdu = echoNpdu(bvlc->npdu);
    if (!npdu) return std::nullopt;
    bvlc->npdu = *npdu;
  }
  return encodeBvlc(*bvlc);
}

}  // namespace support
