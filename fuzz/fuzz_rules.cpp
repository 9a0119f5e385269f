#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/check.h"
#include "simulator/fault_rule.h"

// Rules are read whole, or not at all with one line that says why.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::vector<simulator::FaultRule> rules(1);
  std::string error;
  if (!simulator::readFaultRules(text, rules, error)) {
    FUZZ_CHECK(rules.size() == 1 && rules[0].function.empty() && !error.empty());
    FUZZ_CHECK(error.find('\n') == std::string::npos);
    return 0;
  }
  FUZZ_CHECK(error.empty());
  for (const simulator::FaultRule& rule : rules) {
    FUZZ_CHECK(!rule.function.empty() && rule.after >= 0 && (!rule.times || *rule.times > 0));
    FUZZ_CHECK(!rule.fault.name.empty());
  }
  return 0;
}
