#include "host/tool/link/result_codes.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "bacnet/number/names.h"

namespace tool {

namespace {

struct KnownCode {
  std::int32_t code;
  const char* meaning;
  const char* remedy;
};

constexpr const char* kVersions = "use driver and helper of one release";
constexpr const char* kLog = "look at the end of the helper's log";

constexpr KnownCode kKnownCodes[] = {
    {kHandOffUnanswered, "the project file was not taken", "end the helper; the next start makes another"},
    {kNoAnswer, "no answer from the helper", kLog},
    {1, "unknown function", kVersions},
    {2, "malformed request", kVersions},
    {kNoProject, "no project loaded", "connect once more: the helper was started anew"},
    {4, "project file refused", "mend it: hmi-host check"},
    {5, "unknown RegId", "the project file has changed: start the host anew"},
    {6, "wrong size", "compare DataType with the register's length"},
    {kNotConnected, "not connected", "connect once more"},
    {8, "value does not fit the point's type", "compare DataType with what was written"},
    {20, "device silent", "check its power, its address and the network between"},
    {21, "device not found", "check DeviceId, Network and the network interface"},
    {22, "no value (Null)", "nothing to do: the device has none there"},
    {23, "value does not fit the data type", "compare DataType and BitNum with what the device has"},
    {24, "configuration", "mend the link's elements: hmi-host check"},
    {25, "the device flags a fault", "look at the object's status flags and reliability"},
    {26, "local port or network", "check the network interface and who has the port (ss -lunp)"},
    {27, "the device's answer cannot be decoded", "the helper's log shows it; report it with the device's make"},
    {28, "reply too long for the bus", "read fewer points, or shorter texts"},
};

constexpr std::uint32_t kLargestNumber = 999;  // stands for those beyond, too

// What a device itself answered: the number behind the first one is the standard's.
struct DeviceAnswers {
  std::int32_t first;
  const char* kind;
  const bacnet::CNameTable& names;
};

const DeviceAnswers kDeviceAnswers[] = {
    {3000, "abort", bacnet::kAbortReasonNames},
    {2000, "reject", bacnet::kRejectReasonNames},
    {1000, "error", bacnet::kErrorCodeNames},
};

CodeText textOfAnswer(const DeviceAnswers& answers, std::int32_t code) {
  const auto number = static_cast<std::uint32_t>(code - answers.first);
  const std::string name(answers.names.name(number));
  const std::string words = number >= kLargestNumber ? fmt::format("{} or above", kLargestNumber)
                            : name.empty()           ? std::to_string(number)
                                                     : name;
  return {fmt::format("the device answers {} {}", answers.kind, words),
          "compare the point's object and property with the device's; the helper's log names them"};
}

}  // namespace

CodeText textOf(std::int32_t code) {
  const auto known = std::find_if(std::begin(kKnownCodes), std::end(kKnownCodes),
                                  [&](const KnownCode& each) { return each.code == code; });
  if (known != std::end(kKnownCodes)) return {known->meaning, known->remedy};
  const auto answers = std::find_if(std::begin(kDeviceAnswers), std::end(kDeviceAnswers),
                                    [&](const DeviceAnswers& each) { return code >= each.first; });
  if (answers != std::end(kDeviceAnswers)) return textOfAnswer(*answers, code);
  return {"a code that this release does not know", kLog};
}

}  // namespace tool
