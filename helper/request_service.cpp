#include "helper/request_service.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>

#include "helper/reply_delivery.h"

namespace helper {

namespace {

constexpr std::size_t kLongestLoggedName = 64;
constexpr std::uint8_t kHighestMessageType = 1;  // frames of a higher type carry something else than requests

std::string directoryOf(const std::string& path) {
  return std::filesystem::path(path).parent_path().string();
}

// Element 1 of the reply: a fault's code may be a number that no answer has.
std::string codeText(const Answer& answer, const Fault* fault) {
  const bool isChosen = fault != nullptr && fault->kind == Fault::kCode;
  return std::to_string(isChosen ? fault->number : static_cast<std::int64_t>(answer.code));
}

}  // namespace

CRequestService::CRequestService(CPointBackEnd& backEnd, CFaultScript& script, CHelperLog& log)
    : backEnd_(backEnd), script_(script), log_(log) {}

Delivery CRequestService::onFrame(const cbl::BusFrameInfo& frame) {
  if (frame.type > kHighestMessageType) {
    log_.write("frame of type {} ignored", frame.type);
    return {};
  }

  cbl::CVelixMessage message;
  Request request;
  const ResultCode understood =
      message.load(frame.body) < 0 ? ResultCode::kMalformedRequest : readRequest(message, request);

  const FaultRule* rule = nullptr;
  const Answer result = answer(request, understood, rule);
  const Fault* const fault = rule == nullptr ? nullptr : &rule->fault;

  cbl::CVelixMessage reply;
  reply.setType(frame.type);
  reply.push_back(request.function);
  reply.push_back(codeText(result, fault));
  reply.insert(reply.end(), result.values.begin(), result.values.end());

  log_.write("id={} {} points={} code={}{}{}{}{}", frame.identifier, request.function.substr(0, kLongestLoggedName),
             request.points.size(), reply[1], fault == nullptr ? "" : " fault=", fault == nullptr ? "" : fault->name,
             result.note.empty() ? "" : " ", result.note);

  std::string packed = packReply(reply, frame.identifier);
  if (packed.empty()) {
    log_.write("client closed: the reply is too long for a frame");
    return {Step{{}, {}, 0, {Aftermath::kCloseClient}}};
  }
  return deliver(std::move(packed), frame.identifier, fault);
}

// `rule` takes the rule that changes this call, null for none.
Answer CRequestService::answer(const Request& request, ResultCode understood, const FaultRule*& rule) {
  Answer result;
  const bool isLoad = understood == ResultCode::kDone && request.operation == Request::kLoadProject;
  const bool isUsable = !isLoad || script_.load(directoryOf(request.path), result.note);
  rule = script_.next(request);
  if (rule != nullptr && rule->fault.kind == Fault::kCode) return {};

  if (understood != ResultCode::kDone) {
    result.code = understood;
  } else if (!isUsable) {
    result.code = ResultCode::kProjectRefused;
  } else {
    result = perform(request, backEnd_);
  }
  if (rule == nullptr || rule->fault.kind != Fault::kValue) return result;

  for (std::size_t i = 0; i < result.values.size(); ++i) {
    if (!rule->regId || request.points[i].regId == *rule->regId) result.values[i] = rule->fault.text;
  }
  return result;
}

}  // namespace helper
