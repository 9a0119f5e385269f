#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <vector>

#include "device/fault_rule.h"
#include "device/message_view.h"
#include "io/timers.h"

namespace device {

/// Rules with their counts and their dice: the same file and the same datagrams give the same faults.
class CFaultScript {
 public:
  explicit CFaultScript(const io::CTimers& timers) : timers_(timers) {}

  /// Counts and dice begin anew, and so does the time that rules tell.
  void load(const std::vector<FaultRule>& rules, std::uint32_t seed);

  /// Whether there are no rules at all: nothing need be known of a datagram then.
  bool isEmpty() const { return rules_.empty(); }

  /// What is to be done with a datagram that comes in, or goes out. Every rule that matches counts it, the first one
  /// that is due decides. Nothing: it goes its way.
  std::optional<Fault> forIncoming(const MessageView& message) { return next(message, true); }
  std::optional<Fault> forOutgoing(const MessageView& message) { return next(message, false); }

 private:
  struct CountedRule {
    FaultRule rule;
    std::uint32_t seen = 0;
    std::uint32_t used = 0;
  };

  std::optional<Fault> next(const MessageView& message, bool isIncoming);
  bool isDue(CountedRule& rule);

  const io::CTimers& timers_;
  io::TimePoint start_;
  std::mt19937 dice_;
  std::vector<CountedRule> rules_;
};

}  // namespace device
