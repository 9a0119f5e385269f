#include "device/fault_script.h"

#include <chrono>
#include <variant>

namespace device {

namespace {

bool matches(const FaultRule& rule, const MessageView& message, bool isIncoming) {
  if (isAboutIncoming(rule.fault.kind) != isIncoming) return false;
  const bool answersInstead = isIncoming && rule.fault.kind != FaultKind::kSilence;
  if (answersInstead && !(message.apdu && std::holds_alternative<bacnet::ConfirmedRequest>(*message.apdu))) {
    return false;
  }
  return rule.service.empty() || rule.service == message.service;
}

}  // namespace

void CFaultScript::load(const std::vector<FaultRule>& rules, std::uint32_t seed) {
  start_ = timers_.now();
  dice_.seed(seed);
  rules_.clear();
  for (const FaultRule& rule : rules) rules_.push_back({rule});
}

std::optional<Fault> CFaultScript::next(const MessageView& message, bool isIncoming) {
  std::optional<Fault> fault;
  for (CountedRule& each : rules_) {
    if (!matches(each.rule, message, isIncoming)) continue;
    ++each.seen;
    if (!fault && isDue(each)) fault = each.rule.fault;
  }
  return fault;
}

bool CFaultScript::isDue(CountedRule& each) {
  const FaultRule& rule = each.rule;
  const io::TimePoint from = start_ + std::chrono::milliseconds(rule.fromMs);
  const io::TimePoint now = timers_.now();
  if (now < from || (rule.forMs && now >= from + std::chrono::milliseconds(*rule.forMs))) return false;
  if (each.seen <= rule.after || (rule.times && each.used >= *rule.times)) return false;
  if (rule.percent < 100 && dice_() % 100 >= rule.percent) return false;
  ++each.used;
  return true;
}

}  // namespace device
