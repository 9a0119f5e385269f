#include "device/behaviour.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <iterator>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>

#include "bacnet/codec/apdu.h"
#include "bacnet/number/names.h"

namespace device {

namespace {

using Json = nlohmann::json;

constexpr std::uint32_t kAny = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t kHour = 3'600'000;  // ms

// Leaves this file's reader only, as a line of text.
struct Mistake : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct FaultKey {
  enum Shape { kFlag, kNumber, kPair };
  std::string_view name;
  FaultKind kind;
  Shape shape;
  std::uint32_t least = 0;
  std::uint32_t most = 0;
};

constexpr std::array<FaultKey, 9> kFaultKeys = {{
    {"silence", FaultKind::kSilence, FaultKey::kFlag},
    {"abort", FaultKind::kAbort, FaultKey::kNumber, 0, 255},
    {"reject", FaultKind::kReject, FaultKey::kNumber, 0, 255},
    {"error", FaultKind::kError, FaultKey::kPair, 0, 65535},
    {"lose", FaultKind::kLose, FaultKey::kFlag},
    {"delayMs", FaultKind::kDelay, FaultKey::kNumber, 0, kHour},
    {"double", FaultKind::kDouble, FaultKey::kFlag},
    {"cut", FaultKind::kCut, FaultKey::kNumber, 0, 1476},
    {"invokeId", FaultKind::kInvokeId, FaultKey::kNumber, 1, 255},
}};

std::uint32_t numberOf(const Json& value, std::string_view key, std::uint32_t least, std::uint32_t most) {
  const bool fits =
      value.is_number_unsigned() && value.get<std::uint64_t>() >= least && value.get<std::uint64_t>() <= most;
  if (!fits) throw Mistake(fmt::format("\"{}\" must be a whole number from {} to {}", key, least, most));
  return value.get<std::uint32_t>();
}

bool flagOf(const Json& value, std::string_view key) {
  if (!value.is_boolean()) throw Mistake(fmt::format("\"{}\" must be true or false", key));
  return value.get<bool>();
}

std::string textOf(const Json& value, std::string_view key) {
  if (!value.is_string()) throw Mistake(fmt::format("\"{}\" must be a text", key));
  return value.get<std::string>();
}

Fault readFault(const FaultKey& key, const Json& value) {
  Fault fault{key.kind};
  switch (key.shape) {
    case FaultKey::kFlag:
      if (!flagOf(value, key.name)) throw Mistake(fmt::format("\"{}\" must be true, or not be there", key.name));
      break;
    case FaultKey::kNumber:
      fault.number = numberOf(value, key.name, key.least, key.most);
      break;
    case FaultKey::kPair:
      if (!value.is_array() || value.size() != 2) {
        throw Mistake(fmt::format("\"{}\" must be a list of two numbers, class and code", key.name));
      }
      fault.number = numberOf(value[0], key.name, key.least, key.most);
      fault.code = numberOf(value[1], key.name, key.least, key.most);
      break;
  }
  return fault;
}

std::string serviceOf(const Json& value) {
  std::string name = textOf(value, "service");
  const bool isKnown = bacnet::kConfirmedServiceNames.number(name) || bacnet::kUnconfirmedServiceNames.number(name);
  if (!isKnown) throw Mistake(fmt::format("there is no service \"{}\"; one is \"read-property\"", name));
  return name;
}

FaultRule readRule(const Json& object) {
  if (!object.is_object()) throw Mistake("a rule must be an object");
  FaultRule rule;
  int faults = 0;
  for (const auto& [key, value] : object.items()) {
    const auto* const fault =
        std::find_if(kFaultKeys.begin(), kFaultKeys.end(),
                     [name = std::string_view(key)](const FaultKey& each) { return each.name == name; });
    if (fault != kFaultKeys.end()) {
      rule.fault = readFault(*fault, value);
      ++faults;
    } else if (key == "service") {
      rule.service = serviceOf(value);
    } else if (key == "after") {
      rule.after = numberOf(value, key, 0, kAny);
    } else if (key == "times") {
      rule.times = numberOf(value, key, 1, kAny);
    } else if (key == "percent") {
      rule.percent = numberOf(value, key, 1, 100);
    } else if (key == "fromMs") {
      rule.fromMs = numberOf(value, key, 0, kAny);
    } else if (key == "forMs") {
      rule.forMs = numberOf(value, key, 1, kAny);
    } else {
      throw Mistake(fmt::format("\"{}\" is unknown", key));
    }
  }
  if (faults != 1) throw Mistake(fmt::format("a rule has one fault, this one has {}", faults));
  return rule;
}

std::vector<FaultRule> readRules(const Json& list) {
  if (!list.is_array()) throw Mistake("\"faults\" must be a list of rules");
  std::vector<FaultRule> rules;
  for (const Json& object : list) {
    try {
      rules.push_back(readRule(object));
    } catch (const Mistake& mistake) {
      throw Mistake(fmt::format("rule {}: {}", rules.size() + 1, mistake.what()));
    }
  }
  return rules;
}

std::size_t apduSizeOf(const Json& value) {
  const std::uint32_t size = numberOf(value, "maxApdu", 50, 1476);
  if (std::find(std::begin(bacnet::kApduSizes), std::end(bacnet::kApduSizes), size) == std::end(bacnet::kApduSizes)) {
    throw Mistake("\"maxApdu\" must be 50, 128, 206, 480, 1024 or 1476");
  }
  return size;
}

bacnet::Segmentation segmentationOf(const Json& value) {
  static const std::map<std::string, bacnet::Segmentation> kWords = {{"both", bacnet::Segmentation::kBoth},
                                                                     {"transmit", bacnet::Segmentation::kTransmit},
                                                                     {"receive", bacnet::Segmentation::kReceive},
                                                                     {"none", bacnet::Segmentation::kNone}};
  const auto found = kWords.find(textOf(value, "segmentation"));
  if (found == kWords.end()) throw Mistake("\"segmentation\" must be \"both\", \"transmit\", \"receive\" or \"none\"");
  return found->second;
}

using ReadKey = std::function<void(Behaviour& behaviour, const Json& value)>;

const std::map<std::string, ReadKey>& keys() {
  static const std::map<std::string, ReadKey> kKeys = {
      {"seed", [](Behaviour& b, const Json& value) { b.seed = numberOf(value, "seed", 0, kAny); }},
      {"deviceId",
       [](Behaviour& b, const Json& value) {
         b.deviceId = numberOf(value, "deviceId", 0, bacnet::kLargestInstance - 1);
       }},
      {"maxApdu", [](Behaviour& b, const Json& value) { b.abilities.maxApdu = apduSizeOf(value); }},
      {"segmentation", [](Behaviour& b, const Json& value) { b.abilities.segmentation = segmentationOf(value); }},
      {"readMultiple",
       [](Behaviour& b, const Json& value) { b.abilities.readsMultiple = flagOf(value, "readMultiple"); }},
      {"writeMultiple",
       [](Behaviour& b, const Json& value) { b.abilities.writesMultiple = flagOf(value, "writeMultiple"); }},
      {"cov", [](Behaviour& b, const Json& value) { b.abilities.notifiesChanges = flagOf(value, "cov"); }},
      {"maxSubscriptions",
       [](Behaviour& b, const Json& value) {
         b.abilities.mostSubscriptions = numberOf(value, "maxSubscriptions", 0, 10000);
       }},
      {"restart", [](Behaviour& b, const Json& value) { b.restarts = flagOf(value, "restart"); }},
      {"still", [](Behaviour& b, const Json& value) { b.standsStill = flagOf(value, "still"); }},
      {"faults", [](Behaviour& b, const Json& value) { b.faults = readRules(value); }},
  };
  return kKeys;
}

}  // namespace

bool readBehaviour(const std::string& text, Behaviour& behaviour, std::string& error) {
  try {
    const Json document = Json::parse(text);
    if (!document.is_object()) throw Mistake("not an object");
    Behaviour all;
    for (const auto& [key, value] : document.items()) {
      const auto found = keys().find(key);
      if (found == keys().end()) throw Mistake(fmt::format("\"{}\" is unknown", key));
      found->second(all, value);
    }
    behaviour = std::move(all);
    return true;
  } catch (const Mistake& mistake) {
    error = mistake.what();
  } catch (const Json::exception& mistake) {
    error = mistake.what();
    error.erase(0, error.find("] ") + 2);  // the library's own number for the error
  }
  return false;
}

}  // namespace device
