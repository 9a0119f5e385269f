#include "host/tool/view/text_view.h"

#include <fmt/format.h>

#include "bacnet/number/names.h"

namespace tool {

namespace {

std::string nameIn(const bacnet::CNameTable& names, std::int32_t number) {
  const auto name = names.name(static_cast<std::uint32_t>(number));
  return name.empty() ? std::to_string(number) : std::string(name);
}

}  // namespace

std::string objectText(const plant::Point& point) {
  return fmt::format("{},{}", nameIn(bacnet::kObjectTypeNames, point.objectType), point.instance);
}

std::string propertyText(const plant::Point& point) {
  const std::string name = nameIn(bacnet::kPropertyNames, point.propId);
  return point.arrayIndex < 0 ? name : fmt::format("{}[{}]", name, point.arrayIndex);
}

std::vector<Column> textColumns(Format format) {
  if (format == Format::kTable)
    return {{"regId", "RegId", true}, {"name", "Name"},     {"code", "Code", true},
            {"text", "Value", true},  {"object", "Object"}, {"property", "Property"}};
  return {{"regId", ""}, {"name", ""},   {"code", ""},     {"value", ""}, {"type", ""},
          {"words", ""}, {"object", ""}, {"property", ""}, {"unit", ""},  {"text", ""}};
}

void addTexts(Record& record, const Result& result, const PointFacts& facts) {
  record["object"] = objectText(result.point());
  record["property"] = propertyText(result.point());
  record["unit"] = facts.unit.empty() ? Record() : Record(facts.unit);
  if (result.value) record["text"] = readable(facts, *result.value, fieldText(record["value"]));
}

std::string widestText(const PointFacts& facts, std::size_t valueWidth) {
  std::string widest(valueWidth + (facts.unit.empty() ? 0 : displayWidth(facts.unit) + 1), ' ');
  for (const auto& [number, text] : facts.texts) {
    if (displayWidth(text) > displayWidth(widest)) widest = text;
  }
  return widest;
}

}  // namespace tool
