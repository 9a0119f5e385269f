#include "host/tool/view/result_view.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdlib>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

#include "host/tool/console/error_relay.h"
#include "host/tool/link/helper_files.h"
#include "host/tool/link/result_codes.h"
#include "host/tool/view/text_view.h"

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

Record roundedOf(const plant::Value& value, int precision) {
  return std::visit(
      [&](const auto& held) -> Record {
        if constexpr (std::is_floating_point_v<std::decay_t<decltype(held)>>)
          return fmt::format("{:.{}f}", held, precision);
        else
          return held;
      },
      value);
}

std::size_t usualWidth(plant::DataType type) {
  switch (type) {
    case plant::DataType::kBool:
      return 5;
    case plant::DataType::kReal:
      return 10;
    case plant::DataType::kDouble:
      return 18;
    default:
      return 6;
  }
}

}  // namespace

std::vector<Column> resultColumns() {
  return {{"regId", "RegId", true}, {"name", "Name"}, {"code", "Code", true},
          {"value", "Value", true}, {"type", "Type"}, {"words", "Words"}};
}

Record recordOf(const Result& result, std::optional<int> precision) {
  Record record;
  record["regId"] = result.point().regId;
  record["name"] = result.point().fullName();
  if (result.access.code) record["code"] = *result.access.code;
  if (result.access.code == kDone) record["words"] = result.access.words;
  if (result.value) record["value"] = precision ? roundedOf(*result.value, *precision) : jsonOf(*result.value);
  record["type"] = typeOf(result.point());
  return record;
}

std::string valueText(const Result& result) {
  return fieldText(jsonOf(*result.value));
}

Record wideRecordOf(const plant::Point& point, const PointFacts* facts) {
  Record record;
  record["regId"] = point.regId;
  record["name"] = point.fullName();
  record["value"] = std::string(usualWidth(point.type), ' ');
  record["type"] = typeOf(point);
  if (facts == nullptr) return record;
  record["text"] = widestText(*facts, usualWidth(point.type));
  record["object"] = objectText(point);
  record["property"] = propertyText(point);
  return record;
}

std::string complaintOf(const Result& result, const Options& options) {
  const std::string who = fmt::format("{} (RegId {})", result.point().fullName(), result.point().regId);
  const std::optional<std::int32_t> code = result.access.code;
  const std::string log = helperLog(options.link);
  if (!code)
    return fmt::format("{}: the helper answered with text that is no number that fits; its log is {}", who, log);
  if (code != kDone) {
    const CodeText text = textOf(*code);
    return fmt::format("{}: {} (code {}); {}; its log is {}", who, text.meaning, *code, text.remedy, log);
  }
  const auto& words = result.access.words;
  return fmt::format("{}: value not readable as {}: words {}; compare DataType with what the device sends", who,
                     typeText(result.point()), words.empty() ? "(none)" : fmt::format("{}", fmt::join(words, " ")));
}

Record typeOf(const plant::Point& point) {
  return point.dataTypeWord.empty() ? Record(nullptr) : Record(point.dataTypeWord);
}

std::string typeText(const plant::Point& point) {
  return point.dataTypeWord.empty() ? "whole number" : point.dataTypeWord;
}

void addTo(CRecordWriter& writer, const std::vector<Result>& results, const std::vector<PointFacts>& facts) {
  for (std::size_t i = 0; i < results.size(); ++i) {
    Record record = recordOf(results[i]);
    if (!facts.empty()) addTexts(record, results[i], facts[i]);
    writer.add(std::move(record), results[i].isGood ? Tone::kPlain : Tone::kBad);
  }
}

void complainOf(const std::vector<Result>& results, const Options& options) {
  for (const Result& result : results) {
    if (!result.isGood) complain(complaintOf(result, options));
  }
}

}  // namespace tool
