#include "helper/bus/reply_slot.h"

#include <utility>

#include "helper/result_codes.h"

namespace helper {

std::string packReply(const cbl::CVelixMessage& reply, std::uint32_t identifier) {
  std::string frame;
  if (cbl::CBusProtocol().packAs(reply, frame, identifier) < 0) return {};
  return frame;
}

CReplySlot::CReplySlot(std::shared_ptr<CReplyTarget> target, std::uint64_t number, const cbl::BusFrameInfo& request)
    : target_(std::move(target)), number_(number), identifier_(request.identifier), type_(request.type) {}

CReplySlot::~CReplySlot() {
  if (!target_) return;
  cbl::CVelixMessage reply;
  reply.setType(type_);
  reply.assign({"", std::to_string(static_cast<std::int32_t>(ResultCode::kDeviceSilent))});
  answer(packReply(reply, identifier_));
}

void CReplySlot::answer(Delivery delivery) {
  if (const auto target = std::exchange(target_, nullptr)) target->take(number_, std::move(delivery));
}

void CReplySlot::answer(std::string frame) {
  Delivery delivery;
  delivery.push_back({std::chrono::milliseconds(0), std::move(frame)});
  answer(std::move(delivery));
}

}  // namespace helper
