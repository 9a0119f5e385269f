#include "host/tool/view/result_view.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdlib>
#include <type_traits>
#include <variant>

#include "host/tool/console/error_relay.h"
#include "host/tool/link/result_codes.h"

namespace tool {

namespace {

// The number that JSON shows is the shortest that means the same value: 0.1 of a REAL, not 0.10000000149011612. What
// JSON has no number for stays a text: nan, inf.
Record jsonOf(const plant::Value& value) {
  return std::visit(
      [&](const auto& held) -> Record {
        if constexpr (std::is_floating_point_v<std::decay_t<decltype(held)>>) {
          const std::string text = plant::toText(value);
          if (std::isfinite(held)) return std::strtod(text.c_str(), nullptr);
          return text;
        } else {
          return held;
        }
      },
      value);
}

}  // namespace

std::vector<Column> resultColumns() {
  return {{"regId", "RegId", true}, {"name", "Name"}, {"code", "Code", true},
          {"value", "Value", true}, {"type", "Type"}, {"words", "Words"}};
}

Record recordOf(const Result& result) {
  Record record;
  record["regId"] = result.point().regId;
  record["name"] = result.point().fullName();
  if (result.access.code) record["code"] = *result.access.code;
  if (result.access.code == kDone) record["words"] = result.access.words;
  if (result.value) record["value"] = jsonOf(*result.value);
  record["type"] = typeText(result.point());
  return record;
}

std::string complaintOf(const Result& result) {
  const std::string who = fmt::format("{} (RegId {})", result.point().fullName(), result.point().regId);
  const std::optional<std::int32_t> code = result.access.code;
  if (!code) return who + ": the helper answered with text that is no number that fits";
  if (code == kNoAnswer) return fmt::format("{}: no answer from the helper ({})", who, *code);
  if (code != kDone) return fmt::format("{}: the helper answered code {}; its log says why", who, *code);

  const auto& words = result.access.words;
  return fmt::format("{}: value not readable as {}: words {}; compare DataType with what the device sends", who,
                     typeText(result.point()), words.empty() ? "(none)" : fmt::format("{}", fmt::join(words, " ")));
}

std::string typeText(const plant::Point& point) {
  return point.dataTypeWord.empty() ? "-" : point.dataTypeWord;
}

void addTo(CRecordWriter& writer, const std::vector<Result>& results) {
  for (const Result& result : results) writer.add(recordOf(result), result.isGood ? Tone::kPlain : Tone::kBad);
}

void complainOf(const std::vector<Result>& results) {
  for (const Result& result : results) {
    if (!result.isGood) complain(complaintOf(result));
  }
}

}  // namespace tool
