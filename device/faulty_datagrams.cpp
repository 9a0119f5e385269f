#include "device/faulty_datagrams.h"

#include <chrono>
#include <utility>
#include <variant>

#include "bacnet/service/failure.h"

namespace device {

namespace {

std::string wrap(const MessageView& frame, const bacnet::Apdu& apdu) {
  const std::string apduBytes = bacnet::encodeApdu(apdu);
  bacnet::Npdu npdu = *frame.npdu;
  npdu.apdu = apduBytes;
  const std::string npduBytes = bacnet::encodeNpdu(npdu);
  bacnet::Bvlc bvlc = *frame.bvlc;
  bvlc.npdu = npduBytes;
  return bacnet::encodeBvlc(bvlc);
}

std::string withInvokeId(std::string_view bytes, const MessageView& message, std::uint32_t added) {
  if (!message.apdu) return std::string(bytes);
  bacnet::Apdu apdu = *message.apdu;
  std::visit(
      [&](auto& pdu) {
        if constexpr (!std::is_same_v<std::decay_t<decltype(pdu)>, bacnet::UnconfirmedRequest>) {
          pdu.invokeId = static_cast<std::uint8_t>(pdu.invokeId + added);
        }
      },
      apdu);
  return wrap(message, apdu);
}

}  // namespace

CFaultyDatagrams::CFaultyDatagrams(io::CDatagrams& socket, io::CTimers& timers, CFaultScript& script)
    : socket_(socket), timers_(timers), script_(script) {
  socket_.onReceive([this](const io::Address& from, std::string_view bytes) { receive(from, bytes); });
}

void CFaultyDatagrams::onReceive(ReceiveHandler handler) {
  handler_ = std::move(handler);
}

void CFaultyDatagrams::send(const io::Address& to, std::string_view bytes) {
  if (script_.isEmpty()) return socket_.send(to, bytes);
  const MessageView message = viewOf(bytes);
  const auto fault = script_.forOutgoing(message);
  if (!fault) return socket_.send(to, bytes);
  switch (fault->kind) {
    case FaultKind::kDelay:
      sendLater(to, bytes, fault->number);
      break;
    case FaultKind::kDouble:
      socket_.send(to, bytes);
      socket_.send(to, bytes);
      break;
    case FaultKind::kCut:
      socket_.send(to, bytes.substr(0, fault->number));
      break;
    case FaultKind::kInvokeId:
      socket_.send(to, withInvokeId(bytes, message, fault->number));
      break;
    default:  // kLose; the script gives no other to what goes out
      break;
  }
}

void CFaultyDatagrams::sendLater(const io::Address& to, std::string_view bytes, std::uint32_t milliseconds) {
  const std::uint64_t number = nextDelayed_++;
  delayed_[number] =
      timers_.after(std::chrono::milliseconds(milliseconds), [this, number, to, copy = std::string(bytes)] {
        socket_.send(to, copy);
        delayed_.erase(number);
      });
}

void CFaultyDatagrams::receive(const io::Address& from, std::string_view bytes) {
  if (script_.isEmpty()) return handler_(from, bytes);
  const MessageView message = viewOf(bytes);
  const auto fault = script_.forIncoming(message);
  if (!fault) {
    handler_(from, bytes);
  } else if (fault->kind != FaultKind::kSilence) {
    answerInstead(from, message, *fault);
  }
}

void CFaultyDatagrams::answerInstead(const io::Address& to, const MessageView& message, const Fault& fault) {
  const auto& request = std::get<bacnet::ConfirmedRequest>(*message.apdu);
  MessageView frame;
  frame.bvlc = bacnet::Bvlc{};
  frame.npdu = bacnet::Npdu{};
  frame.npdu->destination = message.npdu->source;

  const auto number = static_cast<std::uint8_t>(fault.number);
  const std::string error =
      bacnet::encodeError(request.service, bacnet::ErrorReply{{fault.number, fault.code}, std::nullopt});
  if (fault.kind == FaultKind::kAbort) {
    socket_.send(to, wrap(frame, bacnet::AbortPdu{request.invokeId, true, number}));
  } else if (fault.kind == FaultKind::kReject) {
    socket_.send(to, wrap(frame, bacnet::RejectPdu{request.invokeId, number}));
  } else {
    socket_.send(to, wrap(frame, bacnet::ErrorPdu{request.invokeId, request.service, error}));
  }
}

}  // namespace device
