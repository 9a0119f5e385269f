#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "bacnet/codec/describe.h"
#include "host/tool/command/commanding.h"
#include "host/tool/command/commands.h"
#include "host/tool/command/point_choice.h"
#include "host/tool/console/records.h"
#include "host/tool/link/project.h"

namespace tool {

namespace {

struct PrioritiesOptions {
  PointChoice choice;
};

std::string slotText(const bacnet::Value& slot) {
  return std::holds_alternative<bacnet::Null>(slot) ? "" : bacnet::describe(slot);
}

Record orNull(const std::string& text) {
  return text.empty() ? Record() : Record(text);
}

void add(CRecordWriter& writer, const plant::Point& point, const Commands& commands, const Origins& origins) {
  const auto addRow = [&](const Record& priority, std::string_view level, const std::string& value, bool isActive,
                          const Origin& origin) {
    Record record;
    record["regId"] = point.regId;
    record["name"] = point.fullName();
    record["priority"] = priority;
    record["level"] = level;
    record["value"] = orNull(value);
    record["active"] = isActive ? Record(true) : Record();
    record["source"] = orNull(origin.source);
    record["since"] = orNull(origin.time);
    writer.add(record, isActive ? Tone::kGood : Tone::kPlain);
  };
  const auto active = commands.active();
  for (std::uint8_t priority = 1; priority <= kPriorities; ++priority)
    addRow(priority, levelOf(priority), slotText(commands.slots[priority - 1U]), active == priority,
           origins.at(priority - 1U));
  addRow(Record(), "relinquish default", bacnet::describe(commands.relinquishDefault), !active, {});
}

ExitStatus showPriorities(const Options& options, COutput& output, const PrioritiesOptions& own) {
  const plant::Link link = readPresentLink(options);
  const auto points = own.choice.pointsOf(link);
  for (const plant::Point& point : points) commandedObject(point);

  LinkDevice asked(link, options.broadcastInterface());
  CRecordWriter writer(output, options.format,
                       {{"regId", "RegId", true},
                        {"name", "Name"},
                        {"priority", "Priority", true},
                        {"level", "Level"},
                        {"value", "Value", true},
                        {"active", "Active"},
                        {"source", "Source"},
                        {"since", "Since"}});
  bool areRead = true;
  for (const plant::Point& point : points) {
    if (isInterrupted()) break;
    const bacnet::ObjectId object = commandedObject(point);
    Commands commands;
    const auto complaint = readCommands(asked.device, object, commands);
    const auto origins = complaint ? Origins() : readOrigins(asked.device, object, commands);
    if (isInterrupted()) break;
    if (complaint) {
      areRead = false;
      complainOf(point, *complaint);
    } else {
      add(writer, point, commands, origins);
    }
  }
  writer.flush();
  if (isInterrupted()) return ExitStatus::kInterrupted;
  return areRead ? ExitStatus::kWell : ExitStatus::kPointsFailed;
}

}  // namespace

void addPriorities(CLI::App& app, Action& action) {
  CLI::App* const command =
      app.add_subcommand("priorities", std::string("who commands points: the sixteen priorities. ") + kOwnStation);
  addPointCommand(*command, action, std::make_shared<PrioritiesOptions>(), showPriorities);
  setExample(*command, "hmi-host --project /opt/project priorities SupplyAir.TempSetpoint");
}

}  // namespace tool
