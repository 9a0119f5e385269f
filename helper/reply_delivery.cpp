#include "helper/reply_delivery.h"

#include <chrono>
#include <utility>

#include "cbl/bus/bus_protocol.h"

namespace helper {

namespace {

// The driver looks for the reply where its received bytes end: foreign frame and reply have to come apart.
constexpr std::chrono::milliseconds kForeignGap{50};

std::string packForeignFrame(std::uint32_t identifier, std::uint8_t type) {
  cbl::CVelixMessage message;
  message.emplace_back("foreign");
  message.setType(type);
  return packReply(message, identifier);
}

}  // namespace

std::string packReply(const cbl::CVelixMessage& reply, std::uint32_t identifier) {
  std::string frame;
  if (cbl::CBusProtocol().packAs(reply, frame, identifier) < 0) return {};
  return frame;
}

Delivery deliver(std::string frame, std::uint32_t identifier, const Fault* fault) {
  Delivery delivery(1);
  Step& step = delivery.front();
  if (fault == nullptr) {
    step.bytes.swap(frame);
    return delivery;
  }

  switch (fault->kind) {
    case Fault::kSilence:
      return {};
    case Fault::kClose:
      step.aftermath.kind = Aftermath::kCloseClient;
      return delivery;
    case Fault::kHang:
      step.aftermath.kind = Aftermath::kHang;
      return delivery;
    case Fault::kExit:
      step.aftermath = {Aftermath::kExit, static_cast<int>(fault->number)};
      return delivery;
    case Fault::kKillBefore:
      step.aftermath.kind = Aftermath::kKill;
      return delivery;
    case Fault::kKillAfter:
      step.aftermath.kind = Aftermath::kKill;
      break;
    case Fault::kDelay:
      step.wait = std::chrono::milliseconds(fault->number);
      break;
    case Fault::kGarbage:
      frame.insert(0, fault->text);
      break;
    case Fault::kBadChecksum:
      frame.back() = static_cast<char>(~frame.back());
      break;
    case Fault::kHalf:
      frame.resize(frame.size() / 2);
      break;
    case Fault::kPieces:
      step.pieceSize = static_cast<std::size_t>(fault->number);
      break;
    case Fault::kForeignType:
      step.wait = kForeignGap;
      step.bytes.swap(frame);
      delivery.insert(delivery.begin(),
                      Step{{}, packForeignFrame(identifier, static_cast<std::uint8_t>(fault->number))});
      return delivery;
    case Fault::kCode:
    case Fault::kValue:
      break;  // the reply itself is the fault
  }
  step.bytes.swap(frame);
  return delivery;
}

}  // namespace helper
