#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bacnet/number/names.h"
#include "bacnet/number/value_names.h"
#include "host/tool/command/commands.h"
#include "host/tool/command/point_texts.h"
#include "host/tool/console/interrupt.h"
#include "host/tool/link/project.h"
#include "host/tool/view/result_view.h"
#include "host/tool/view/text_view.h"

namespace tool {

namespace {

constexpr const char* kEvery = "*";

struct PointsOptions {
  std::string pattern = kEvery;
  bool isInWords = false;
};

// Null for a number that the standard leaves to makers.
Record nameIn(const bacnet::CNameTable& names, std::int32_t number) {
  const auto name = names.name(static_cast<std::uint32_t>(number));
  return name.empty() ? Record() : Record(name);
}

Record recordOf(const plant::Point& point) {
  Record record;
  record["regId"] = point.regId;
  record["name"] = point.fullName();
  record["object"] = point.objectType;
  record["objectName"] = nameIn(bacnet::kObjectTypeNames, point.objectType);
  record["instance"] = point.instance;
  record["property"] = point.propId;
  record["propertyName"] = nameIn(bacnet::kPropertyNames, point.propId);
  record["type"] = typeOf(point);
  record["size"] = point.size;
  return record;
}

std::vector<Column> pointColumns() {
  return {{"regId", "RegId", true},
          {"name", "Name"},
          {"object", "Object", true},
          {"objectName", "ObjectName"},
          {"instance", "Instance", true},
          {"property", "Property", true},
          {"propertyName", "PropertyName"},
          {"type", "Type"},
          {"size", "Size", true}};
}

// A table has them in the place of numbers.
std::vector<Column> columnsWithTexts(Format format) {
  const std::vector<Column> texts = {{"unit", "Unit"},
                                     {"states", "States"},
                                     {"commandable", "Commandable"},
                                     {"deviceName", "DeviceName"},
                                     {"description", "Description"}};
  std::vector<Column> all = pointColumns();
  if (format == Format::kTable)
    all = {{"regId", "RegId", true},
           {"name", "Name"},
           {"objectText", "Object"},
           {"propertyText", "Property"},
           {"type", "Type"}};
  all.insert(all.end(), texts.begin(), texts.end());
  return all;
}

// The texts of what a value can be, in order; none of those that the standard alone fixes.
Record statesOf(const plant::Point& point, const PointFacts& facts) {
  if (!bacnet::isState(static_cast<std::uint32_t>(point.propId)) || facts.texts.empty()) return {};
  Record states = Record::array();
  for (const auto& [number, text] : facts.texts) states.push_back(text);
  return states;
}

void addTexts(Record& record, const plant::Point& point, const PointFacts& facts, Format format) {
  const auto orNull = [](const std::string& text) { return text.empty() ? Record() : Record(text); };
  const Record states = statesOf(point, facts);
  record["unit"] = orNull(facts.unit);
  record["states"] = states;
  record["commandable"] = facts.isFromDevice ? Record(facts.isCommandable) : Record();
  record["deviceName"] = orNull(facts.objectName);
  record["description"] = orNull(facts.description);
  if (format != Format::kTable) return;
  record["objectText"] = objectText(point);
  record["propertyText"] = propertyText(point);
  record["states"] = states.is_null() ? "" : fmt::format("{}", fmt::join(states.get<std::vector<std::string>>(), ", "));
  record["commandable"] = facts.isCommandable ? "yes" : "";
}

std::vector<plant::Point> pointsFor(const Options& options, const std::string& pattern) {
  std::vector<plant::Point> points = readPresentLink(options).points;
  points.erase(
      std::remove_if(points.begin(), points.end(), [&](const plant::Point& each) { return !matches(pattern, each); }),
      points.end());
  if (points.empty() && pattern != kEvery)
    throw CFailure(ExitStatus::kUsage, fmt::format("no point of link {} matches '{}'", options.link, pattern),
                   "'hmi-host points' lists them all");
  return points;
}

ExitStatus showPoints(const Options& options, COutput& output, const PointsOptions& own) {
  const std::vector<plant::Point> points = pointsFor(options, own.pattern);
  const auto facts = own.isInWords ? askForTexts(options, points) : std::vector<PointFacts>();
  if (isInterrupted()) return ExitStatus::kInterrupted;
  CRecordWriter writer(output, options.format, own.isInWords ? columnsWithTexts(options.format) : pointColumns());
  for (std::size_t i = 0; i < points.size(); ++i) {
    Record record = recordOf(points[i]);
    if (own.isInWords) addTexts(record, points[i], facts[i], options.format);
    writer.add(std::move(record));
  }
  writer.flush();
  return ExitStatus::kWell;
}

}  // namespace

void addPoints(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand("points", "the link's points, from the project file alone");
  const auto own = std::make_shared<PointsOptions>();
  command->add_option("pattern", own->pattern, "glob on name or RegId, upper and lower case alike")
      ->type_name("PATTERN");
  addTextsFlag(*command, own->isInWords);
  setExample(*command, "hmi-host --project /opt/project points '*temp*'");
  command->callback([&action, own] {
    action.run = [own](const Options& options, COutput& output) { return showPoints(options, output, *own); };
  });
}

}  // namespace tool
