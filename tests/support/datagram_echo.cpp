#include "support/datagram_echo.h"

#include <cstdlib>

#include "bacnet/codec/apdu.h"
#include "bacnet/codec/bvlc.h"
#include "bacnet/codec/describe.h"
#include "bacnet/codec/npdu.h"
#include "bacnet/codec/text.h"
#include "bacnet/service/cov.h"
#include "bacnet/service/discovery.h"
#include "bacnet/service/failure.h"
#include "bacnet/service/property.h"

namespace support {
namespace {

using namespace bacnet;
using Echo = std::optional<std::string>;

constexpr char kOpeningTag0 = 0x0E;

template <class Service>
Echo echo(const std::optional<Service>& service) {
  if (!service) return std::nullopt;
  return encode(*service);
}

// Also shows them: whatever comes has to have a text, and that is UTF-8.
Echo echoValues(std::string_view data) {
  const auto values = parseValues(data);
  if (!values) return std::nullopt;
  if (!isUtf8(describe(*values))) std::abort();
  return encode(*values);
}

Echo echoRequest(ConfirmedService service, std::string_view data) {
  switch (service) {
    case ConfirmedService::kConfirmedCovNotification:
      return echo(parseCovNotification(data));
    case ConfirmedService::kSubscribeCov:
      return echo(parseSubscribeCov(data));
    case ConfirmedService::kReadProperty:
      return echo(parseReadProperty(data));
    case ConfirmedService::kReadPropertyMultiple:
      return echo(parseReadPropertyMultiple(data));
    case ConfirmedService::kWriteProperty:
      return echo(parseWriteProperty(data));
    case ConfirmedService::kWritePropertyMultiple:
      return echo(parseWritePropertyMultiple(data));
    default:
      return echoValues(data);
  }
}
Echo echoAnswer(ConfirmedService service, std::string_view data) {
  if (service == ConfirmedService::kReadProperty) return echo(parseReadPropertyAck(data));
  if (service == ConfirmedService::kReadPropertyMultiple) return echo(parseReadPropertyMultipleAck(data));
  return echoValues(data);
}
Echo echoUnconfirmed(UnconfirmedService service, std::string_view data) {
  if (service == UnconfirmedService::kIAm) return echo(parseIAm(data));
  if (service == UnconfirmedService::kWhoIs) return echo(parseWhoIs(data));
  if (service == UnconfirmedService::kUnconfirmedCovNotification) return echo(parseCovNotification(data));
  return echoValues(data);
}
Echo echoError(ConfirmedService service, std::string_view data) {
  const auto reply = parseError(service, data);
  if (!reply) return std::nullopt;
  const bool hasMore = !reply->failedWrite && data.front() == kOpeningTag0;  // which nothing of ours writes
  return hasMore ? echoValues(data) : encodeError(service, *reply);
}

// Gives each PDU its service's bytes anew.
struct PduEcho {
  template <class Pdu>
  Echo operator()(Pdu pdu) const {
    if constexpr (std::is_same_v<Pdu, ConfirmedRequest> || std::is_same_v<Pdu, ComplexAck>) {
      if (pdu.segment) return encodeApdu(pdu);
    }
    if constexpr (std::is_same_v<Pdu, ConfirmedRequest>) {
      return with(pdu, echoRequest(pdu.service, pdu.data));
    } else if constexpr (std::is_same_v<Pdu, ComplexAck>) {
      return with(pdu, echoAnswer(pdu.service, pdu.data));
    } else if constexpr (std::is_same_v<Pdu, UnconfirmedRequest>) {
      return with(pdu, echoUnconfirmed(pdu.service, pdu.data));
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
