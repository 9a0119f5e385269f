#include "simulator/fault_rule.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "helper/request/remote_functions.h"

namespace simulator {

namespace {

using Json = nlohmann::json;

constexpr std::int64_t kAnyCount = std::numeric_limits<std::int64_t>::max();
constexpr std::string_view kPrefix = "func@";

// Leaves this file's reader only, as a line of text.
struct RuleError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct FaultKey {
  enum Shape { kFlag, kNumber, kText };
  std::string_view name;
  Fault::Kind kind;
  Shape shape;
  std::int64_t least = 0;  // of a number
  std::int64_t most = 0;
};

constexpr std::array<FaultKey, 13> kFaultKeys = {{
    {"delayMs", Fault::kDelay, FaultKey::kNumber, 0, 3'600'000},
    {"silence", Fault::kSilence, FaultKey::kFlag},
    {"close", Fault::kClose, FaultKey::kFlag},
    {"hang", Fault::kHang, FaultKey::kFlag},
    {"exit", Fault::kExit, FaultKey::kNumber, 0, 255},
    {"garbage", Fault::kGarbage, FaultKey::kText},
    {"badChecksum", Fault::kBadChecksum, FaultKey::kFlag},
    {"half", Fault::kHalf, FaultKey::kFlag},
    {"pieces", Fault::kPieces, FaultKey::kNumber, 1, 1'000'000},
    {"foreignType", Fault::kForeignType, FaultKey::kNumber, 0, 15},
    {"code", Fault::kCode, FaultKey::kNumber, std::numeric_limits<std::int64_t>::min(), kAnyCount},
    {"value", Fault::kValue, FaultKey::kText},
    {"kill", Fault::kKillBefore, FaultKey::kText},
}};

std::int64_t numberOf(const Json& value, std::string_view key, std::int64_t least, std::int64_t most) {
  const bool fits = value.is_number_integer() && (!value.is_number_unsigned() ||
                                                  value.get<std::uint64_t>() <= static_cast<std::uint64_t>(kAnyCount));
  if (!fits || value.get<std::int64_t>() < least || value.get<std::int64_t>() > most) {
    throw RuleError(fmt::format("\"{}\" must be a whole number from {} to {}", key, least, most));
  }
  return value.get<std::int64_t>();
}

std::string textOf(const Json& value, std::string_view key) {
  if (!value.is_string()) throw RuleError(fmt::format("\"{}\" must be a text", key));
  return value.get<std::string>();
}

// "0x00ff" is two bytes; any other text is its own bytes.
std::string bytesOf(const std::string& text) {
  if (text.rfind("0x", 0) != 0) return text;
  std::string bytes;
  for (std::size_t at = 2; at < text.size(); at += 2) {
    unsigned char byte = 0;
    const char* const begin = text.data() + at;
    const char* const end = begin + std::min<std::size_t>(2, text.size() - at);
    if (end - begin != 2 || std::from_chars(begin, end, byte, 16).ptr != end) {
      throw RuleError("\"garbage\" has to have pairs of hexadecimal digits after 0x");
    }
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

Fault readFault(const FaultKey& key, const Json& value) {
  Fault fault{key.kind, std::string(key.name)};
  switch (key.shape) {
    case FaultKey::kFlag:
      if (value != Json(true)) throw RuleError(fmt::format("\"{}\" must be true", key.name));
      break;
    case FaultKey::kNumber:
      fault.number = numberOf(value, key.name, key.least, key.most);
      break;
    case FaultKey::kText:
      fault.text = textOf(value, key.name);
  }
  if (fault.kind == Fault::kGarbage) fault.text = bytesOf(fault.text);
  if (fault.kind == Fault::kKillBefore) {
    if (fault.text != "before" && fault.text != "after") throw RuleError("\"kill\" must be \"before\" or \"after\"");
    if (fault.text == "after") fault.kind = Fault::kKillAfter;
  }
  return fault;
}

std::string functionOf(const std::string& text) {
  if (text == "*") return text;
  std::string name = text.rfind(kPrefix, 0) == 0 ? text : std::string(kPrefix) + text;
  if (!helper::isRemoteFunction(name)) throw RuleError(fmt::format("there is no function {}", Json(text).dump()));
  return name;
}

FaultRule readRule(const Json& object) {
  if (!object.is_object()) throw RuleError("a rule must be an object");
  FaultRule rule;
  int faults = 0;
  for (const auto& [key, value] : object.items()) {
    const auto fault = std::find_if(kFaultKeys.begin(), kFaultKeys.end(),
                                    [name = std::string_view(key)](const FaultKey& each) { return each.name == name; });
    if (fault != kFaultKeys.end()) {
      rule.fault = readFault(*fault, value);
      ++faults;
    } else if (key == "function") {
      rule.function = functionOf(textOf(value, key));
    } else if (key == "after") {
      rule.after = numberOf(value, key, 0, kAnyCount);
    } else if (key == "times") {
      rule.times = numberOf(value, key, 1, kAnyCount);
    } else if (key == "regId") {
      rule.regId = static_cast<std::uint32_t>(numberOf(value, key, 0, std::numeric_limits<std::uint32_t>::max()));
    } else {
      throw RuleError(fmt::format("{} is unknown", Json(key).dump()));
    }
  }
  if (rule.function.empty()) throw RuleError("\"function\" is missing");
  if (faults != 1) throw RuleError(fmt::format("a rule has one fault, this one has {}", faults));
  return rule;
}

}  // namespace

bool readFaultRules(const std::string& text, std::vector<FaultRule>& rules, std::string& error) {
  std::size_t number = 0;
  try {
    const Json document = Json::parse(text);
    if (!document.is_array()) throw RuleError("not a list of rules");
    std::vector<FaultRule> all;
    for (const Json& object : document) {
      ++number;
      all.push_back(readRule(object));
    }
    rules.swap(all);
    return true;
  } catch (const RuleError& failure) {
    error = number == 0 ? failure.what() : fmt::format("rule {}: {}", number, failure.what());
  } catch (const Json::exception& failure) {
    error = failure.what();
    error.erase(0, error.find("] ") + 2);  // the library's own number for the error
  }
  return false;
}

}  // namespace simulator
