#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "bacnet/number/names.h"
#include "host/tool/command/commands.h"
#include "host/tool/link/project.h"
#include "host/tool/view/result_view.h"

namespace tool {

namespace {

constexpr const char* kEvery = "*";

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

ExitStatus showPoints(const Options& options, COutput& output, const std::string& pattern) {
  CRecordWriter writer(output, options.format,
                       {{"regId", "RegId", true},
                        {"name", "Name"},
                        {"object", "Object", true},
                        {"objectName", "ObjectName"},
                        {"instance", "Instance", true},
                        {"property", "Property", true},
                        {"propertyName", "PropertyName"},
                        {"type", "Type"},
                        {"size", "Size", true}});
  bool isFound = false;
  for (const plant::Point& point : readPresentLink(options).points) {
    if (!matches(pattern, point)) continue;
    writer.add(recordOf(point));
    isFound = true;
  }
  if (!isFound && pattern != kEvery)
    throw CFailure(ExitStatus::kUsage, fmt::format("no point of link {} matches '{}'", options.link, pattern),
                   "'hmi-host points' lists them all");
  writer.flush();
  return ExitStatus::kWell;
}

}  // namespace

void addPoints(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand("points", "the link's points, from the project file alone");
  const auto pattern = std::make_shared<std::string>(kEvery);
  command->add_option("pattern", *pattern, "glob on name or RegId, upper and lower case alike")->type_name("PATTERN");
  setExample(*command, "hmi-host --project /opt/project points '*temp*'");
  command->callback([&action, pattern] {
    action.run = [pattern](const Options& options, COutput& output) { return showPoints(options, output, *pattern); };
  });
}

}  // namespace tool
