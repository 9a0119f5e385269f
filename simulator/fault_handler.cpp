#include "simulator/fault_handler.h"

#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "cbl/bus/frame_layout.h"
#include "cbl/bus/velix_message.h"
#include "helper/request/remote_functions.h"
#include "helper/request/request_service.h"
#include "simulator/fault_delivery.h"

namespace simulator {

using helper::CReplySlot;
using helper::Delivery;
using helper::Request;
using helper::ResultCode;

namespace {

// Stands between a handler and the slot it answers to.
class CBentReply : public helper::CReplyTarget {
 public:
  CBentReply(CReplySlot outer, FaultRule rule, Request request, helper::HelperEnvironment& environment)
      : outer_(std::move(outer)), rule_(std::move(rule)), request_(std::move(request)), environment_(environment) {}

  void take(std::uint64_t /*number*/, Delivery delivery) override {
    std::string frame = delivery.empty() ? std::string() : std::move(delivery.front().bytes);
    if (rule_.fault.kind == Fault::kValue) replaceValues(rule_, request_, frame);
    outer_.answer(deliver(std::move(frame), outer_.identifier(), rule_.fault, environment_));
  }

 private:
  CReplySlot outer_;
  const FaultRule rule_;
  const Request request_;
  helper::HelperEnvironment& environment_;
};

void answerCode(CReplySlot slot, const Request& request, const std::string& code) {
  cbl::CVelixMessage reply;
  reply.setType(slot.type());
  reply.assign({request.function, code});
  slot.answer(helper::packReply(reply, slot.identifier()));
}

}  // namespace

CFaultHandler::CFaultHandler(helper::HelperEnvironment& environment, helper::CFrameHandler& inner)
    : environment_(environment), inner_(inner) {
  loadScript(environment.directory);
}

bool CFaultHandler::loadScript(const std::string& directory) {
  std::string error;
  if (script_.load(directory, error)) return true;
  environment_.log.write("{}", error);
  return false;
}

// Without rules only a hand-off may bring some.
bool CFaultHandler::isConcerned(const cbl::BusFrameInfo& frame) const {
  if (frame.type > cbl::frame::kLastMessageType) return false;
  return !script_.isEmpty() || frame.body.find(helper::kLoadFunction) != std::string::npos;
}

void CFaultHandler::onFrame(const cbl::BusFrameInfo& frame, CReplySlot slot) {
  if (!isConcerned(frame)) return inner_.onFrame(frame, std::move(slot));

  cbl::CVelixMessage message;
  Request request;
  const bool isUnderstood = message.load(frame.body) >= 0 && helper::readRequest(message, request) == ResultCode::kDone;
  const bool isLoad = isUnderstood && request.operation == Request::kLoadProject;
  const bool isUsable = !isLoad || loadScript(std::filesystem::path(request.path).parent_path().string());

  std::string code;  // that answers instead of the call
  if (!isUsable) code = std::to_string(static_cast<std::int32_t>(ResultCode::kProjectRefused));
  const FaultRule* const rule = script_.next(request);
  if (rule == nullptr) return pass(frame, request, code, std::move(slot));

  if (rule->fault.kind == Fault::kCode) code = std::to_string(rule->fault.number);
  CReplySlot bent(std::make_shared<CBentReply>(std::move(slot), *rule, request, environment_), 0, frame);
  bent.setRemark("fault=" + rule->fault.name);
  pass(frame, request, code, std::move(bent));
}

void CFaultHandler::pass(const cbl::BusFrameInfo& frame, const Request& request, const std::string& code,
                         CReplySlot slot) {
  if (code.empty()) return inner_.onFrame(frame, std::move(slot));
  if (environment_.log.traces())
    environment_.log.write("{}", helper::traceLine(slot, request.function, request.points.size(), code));
  answerCode(std::move(slot), request, code);
}

}  // namespace simulator
