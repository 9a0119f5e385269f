#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "helper/request/remote_functions.h"
#include "simulator/fault_rule.h"

namespace simulator {

/// The rules in force and how often each has matched.
class CFaultScript {
 public:
  /// Replaces the rules by those of the simulator.json in `directory`; a missing file leaves none. Rules whose text is
  /// the one in force go on counting. Result: false with a one-line `error`, and the rules stay as they were.
  bool load(const std::string& directory, std::string& error);

  bool isEmpty() const { return rules_.empty(); }

  /// Counts one call. Result: the first rule that is due, null when none is; valid until the next `load`.
  const FaultRule* next(const helper::Request& request);

 private:
  struct CountedRule {
    FaultRule rule;
    std::int64_t seen = 0;
    std::int64_t used = 0;
  };

  std::string text_;  // of the file in force
  std::vector<CountedRule> rules_;
};

}  // namespace simulator
