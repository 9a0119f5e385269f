#include "device/message_view.h"

#include <fmt/format.h>

#include <array>
#include <variant>

#include "bacnet/number/names.h"

namespace device {

namespace {

std::string_view serviceOf(const bacnet::Apdu& apdu) {
  return std::visit(
      [](const auto& pdu) -> std::string_view {
        using Pdu = std::decay_t<decltype(pdu)>;
        if constexpr (std::is_same_v<Pdu, bacnet::UnconfirmedRequest>) {
          return bacnet::kUnconfirmedServiceNames.name(static_cast<std::uint32_t>(pdu.service));
        } else if constexpr (std::is_same_v<Pdu, bacnet::SegmentAck> || std::is_same_v<Pdu, bacnet::RejectPdu> ||
                             std::is_same_v<Pdu, bacnet::AbortPdu>) {
          return {};
        } else {
          return bacnet::kConfirmedServiceNames.name(static_cast<std::uint32_t>(pdu.service));
        }
      },
      apdu);
}

std::string invokeOf(const bacnet::Apdu& apdu) {
  return std::visit(
      [](const auto& pdu) -> std::string {
        if constexpr (std::is_same_v<std::decay_t<decltype(pdu)>, bacnet::UnconfirmedRequest>) {
          return {};
        } else {
          return fmt::format(" invoke {}", pdu.invokeId);
        }
      },
      apdu);
}

}  // namespace

MessageView viewOf(std::string_view datagram) {
  MessageView view;
  view.bvlc = bacnet::parseBvlc(datagram);
  if (view.bvlc) view.npdu = bacnet::parseNpdu(view.bvlc->npdu);
  if (view.npdu && !view.npdu->message) view.apdu = bacnet::parseApdu(view.npdu->apdu);
  if (view.apdu) view.service = serviceOf(*view.apdu);
  return view;
}

std::string describe(const MessageView& message, std::size_t octets) {
  constexpr std::array<const char*, std::variant_size_v<bacnet::Apdu>> kPdus = {"confirmed-request",
                                                                                "unconfirmed-request",
                                                                                "simple-ack",
                                                                                "complex-ack",
                                                                                "segment-ack",
                                                                                "error",
                                                                                "reject",
                                                                                "abort"};
  if (!message.apdu) return fmt::format("no APDU, {} octets", octets);
  return fmt::format("{}{}{}{}, {} octets", kPdus[message.apdu->index()], message.service.empty() ? "" : " ",
                     message.service, invokeOf(*message.apdu), octets);
}

}  // namespace device
