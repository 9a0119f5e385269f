#include "host/tool/link/results.h"
#include "host/tool/console/error_relay.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <type_traits>
#include <variant>

#include "host/tool/failure.h"

namespace tool {

namespace {

constexpr std::int32_t kNoAnswer = -1;

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

std::optional<plant::Value> valueOf(const plant::Point& point, const Access& access) {
  plant::Value value;
  if (access.code == 0 && plant::fromWords(point, access.words, value)) return value;
  return std::nullopt;
}

}  // namespace

Result readResult(const plant::Point& point, const Access& access) {
  const auto value = valueOf(point, access);
  return {point, access, value, value.has_value()};
}

Result writeResult(const plant::Point& point, const Access& access) {
  return {point, access, valueOf(point, access), access.code == 0};
}

std::vector<Column> resultColumns() {
  return {{"regId", "RegId", true}, {"name", "Name"}, {"code", "Code", true},
          {"value", "Value", true}, {"type", "Type"}, {"words", "Words"}};
}

Record recordOf(const Result& result) {
  Record record;
  record["regId"] = result.point.regId;
  record["name"] = result.point.fullName();
  if (result.access.code) record["code"] = *result.access.code;
  if (result.access.code == 0) record["words"] = result.access.words;
  if (result.value) record["value"] = jsonOf(*result.value);
  record["type"] = typeText(result.point);
  return record;
}

std::string complaintOf(const Result& result) {
  const std::string who = fmt::format("{} (RegId {})", result.point.fullName(), result.point.regId);
  const std::optional<std::int32_t> code = result.access.code;
  if (!code) return who + ": the helper answered with text that is no number that fits";
  if (code == kNoAnswer) return fmt::format("{}: no answer from the helper ({})", who, *code);
  if (code != 0) return fmt::format("{}: the helper answered code {}; its log says why", who, *code);

  const auto& words = result.access.words;
  return fmt::format("{}: value not readable as {}: words {}; compare DataType with what the device sends", who,
                     typeText(result.point), words.empty() ? "(none)" : fmt::format("{}", fmt::join(words, " ")));
}

std::string typeText(const plant::Point& point) {
  return point.dataTypeWord.empty() ? "-" : point.dataTypeWord;
}

std::vector<Result> resultsOf(const std::vector<plant::Point>& points, const std::vector<Access>& accesses,
                              Result (*resultOf)(const plant::Point&, const Access&)) {
  std::vector<Result> results;
  for (std::size_t i = 0; i < points.size(); ++i) results.push_back(resultOf(points[i], accesses[i]));
  return results;
}

bool areGood(const std::vector<Result>& results) {
  return std::all_of(results.begin(), results.end(), [](const Result& result) { return result.isGood; });
}

void addTo(CRecordWriter& writer, const std::vector<Result>& results) {
  for (const Result& result : results) writer.add(recordOf(result), result.isGood ? Tone::kPlain : Tone::kBad);
}

void Tally::add(const std::vector<Result>& results) {
  reads += results.size();
  failures += static_cast<std::size_t>(
      std::count_if(results.begin(), results.end(), [](const Result& result) { return !result.isGood; }));
}

void complainOf(const std::vector<Result>& results) {
  for (const Result& result : results) {
    if (!result.isGood) complain(complaintOf(result));
  }
}

}  // namespace tool
