#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "helper/fault_rule.h"
#include "helper/remote_functions.h"

namespace helper {

/// The rules in force and how often each has matched.
class CFaultScript {
 public:
  /// Replaces the rules by those of the simulator.json in `directory`; a missing file leaves none. Rules whose text is
  /// the one in force go on counting. Result: false with a one-line `error`, and the rules stay as they were.
  bool load(const std::string& directory, std::string& error);

  /// Counts one call. Result: the first rule that is due, null when none is; valid until the next `load`.
  const FaultRule* next(const Request& request);

 private:
  struct CountedRule {
    FaultRule rule;
    std::int64_t seen = 0;
    std::int64_t used = 0;
  };

  std::string text_;  // of the file in force
  std::vector<CountedRule> rules_;
};

}  // namespace helper
