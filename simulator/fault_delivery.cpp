#include "simulator/fault_delivery.h"

#include <sys/socket.h>

#include <chrono>
#include <csignal>
#include <utility>

#include "cbl/bus/bus_protocol.h"
#include "cbl/bus/velix_message.h"
#include "helper/bus/reply_slot.h"

namespace simulator {

using helper::Delivery;
using helper::Step;

namespace {

// The driver looks for the reply where its received bytes end: foreign frame and reply have to come apart.
constexpr std::chrono::milliseconds kForeignGap{50};

std::string packForeignFrame(std::uint32_t identifier, std::uint8_t type) {
  cbl::CVelixMessage message;
  message.emplace_back("foreign");
  message.setType(type);
  return helper::packReply(message, identifier);
}

// Serves nobody until a signal comes, which ends the helper. A connect is refused, while process, files and open
// connections stay.
void hang(helper::HelperEnvironment& environment) {
  ::shutdown(environment.listener, SHUT_RD);
  environment.log.write("hanging");
  sigset_t signals;
  sigemptyset(&signals);
  for (const int each : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&signals, each);  // blocked already, for the loop
  int signal = 0;
  sigwait(&signals, &signal);
  environment.log.write("stopped by signal {}", signal);
  environment.loop.stop(0);
}

// A step after whose bytes the helper does not go on.
Step lastStep(const Fault& fault, helper::HelperEnvironment& environment) {
  Step step;
  step.closes = true;
  if (fault.kind == Fault::kHang) step.then = [&environment] { hang(environment); };
  if (fault.kind == Fault::kKillBefore || fault.kind == Fault::kKillAfter) step.then = [] { ::raise(SIGKILL); };
  if (fault.kind == Fault::kExit) {
    step.then = [&environment, status = static_cast<int>(fault.number)] { environment.loop.stop(status); };
  }
  return step;
}

}  // namespace

void replaceValues(const FaultRule& rule, const helper::Request& request, std::string& frame) {
  constexpr std::size_t kCodeAt = 1;
  constexpr std::size_t kFirstValueAt = 2;
  cbl::BusFrameInfo info;
  cbl::CVelixMessage reply;
  const bool isReply = cbl::CBusProtocol().unpack(frame.data(), static_cast<std::int32_t>(frame.size()), info) > 0 &&
                       reply.load(info.body) > 0 && reply.size() == kFirstValueAt + request.points.size();
  if (!isReply || reply[kCodeAt] != "0") return;
  for (std::size_t i = 0; i < request.points.size(); ++i) {
    if (!rule.regId || request.points[i].regId == *rule.regId) reply[kFirstValueAt + i] = rule.fault.text;
  }
  reply.setType(info.type);
  frame = helper::packReply(reply, info.identifier);
}

Delivery deliver(std::string frame, std::uint32_t identifier, const Fault& fault,
                 helper::HelperEnvironment& environment) {
  Delivery delivery(1);
  Step& step = delivery.front();
  switch (fault.kind) {
    case Fault::kSilence:
      return {};
    case Fault::kClose:
    case Fault::kHang:
    case Fault::kExit:
    case Fault::kKillBefore:
      step = lastStep(fault, environment);
      return delivery;
    case Fault::kKillAfter:
      step = lastStep(fault, environment);
      break;
    case Fault::kDelay:
      step.wait = std::chrono::milliseconds(fault.number);
      break;
    case Fault::kGarbage:
      frame.insert(0, fault.text);
      break;
    case Fault::kBadChecksum:
      if (!frame.empty()) frame.back() = static_cast<char>(~frame.back());
      break;
    case Fault::kHalf:
      frame.resize(frame.size() / 2);
      break;
    case Fault::kPieces:
      step.pieceSize = static_cast<std::size_t>(fault.number);
      break;
    case Fault::kForeignType:
      step.wait = kForeignGap;
      delivery.insert(delivery.begin(),
                      Step{{}, packForeignFrame(identifier, static_cast<std::uint8_t>(fault.number))});
      break;
    case Fault::kCode:
    case Fault::kValue:
      break;  // the reply itself is the fault
  }
  delivery.back().bytes = std::move(frame);
  return delivery;
}

}  // namespace simulator
