#include "host/tool/command/commanding.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "bacnet/codec/describe.h"
#include "host/tool/console/error_relay.h"
#include "host/tool/console/records.h"

namespace tool {

namespace {

Record recordOf(const CommandedPoint& each) {
  Record record;
  record["regId"] = each.point.regId;
  record["name"] = each.point.fullName();
  record["priority"] = each.priority;
  return record;
}

std::string checkPriority(const std::string& text) {
  return text == "6" ? "priority 6 is reserved for minimum on and off times" : "";
}

}  // namespace

CLI::Option* addPriority(CLI::App& command, std::optional<int>& priority) {
  return command
      .add_option("--priority", priority,
                  "1 (highest) to 16, but not 6; otherwise the point's own, or 8 (manual operator)")
      ->type_name("N")
      ->check(CLI::Validator(checkPriority, ""))
      ->check(CLI::Range(1, static_cast<int>(kPriorities)).description(""));
}

CommandedPoint commandedPoint(const plant::Point& point, const std::optional<int>& priority) {
  commandedObject(point);
  return {point, priority ? static_cast<std::uint8_t>(*priority) : ownPriority(point)};
}

ExitStatus changeCommands(
    const Options& options, COutput& output, const plant::Link& link, const std::vector<CommandedPoint>& points,
    const std::function<Complaint(CDevice& device, const bacnet::ObjectId& object, std::size_t place)>& change) {
  LinkDevice asked(link, options.broadcastInterface());
  CRecordWriter writer(output, options.format,
                       {{"regId", "RegId", true},
                        {"name", "Name"},
                        {"priority", "Priority", true},
                        {"done", "Done"},
                        {"value", "Value", true},
                        {"active", "Active", true}});
  bool areDone = true;
  std::vector<std::string> complaints;
  for (std::size_t place = 0; place < points.size() && !isInterrupted(); ++place) {
    const bacnet::ObjectId object = commandedObject(points[place].point);
    Record record = recordOf(points[place]);
    Commands after;
    Complaint complaint = change(asked.device, object, place);
    record["done"] = !complaint;
    if (!complaint) complaint = readCommands(asked.device, object, after);
    if (!complaint) {
      record["value"] = bacnet::describe(after.presentValue);
      record["active"] = after.active() ? Record(*after.active()) : Record("default");
    }
    writer.add(record, complaint ? Tone::kBad : Tone::kPlain);
    complaints.push_back(complaint.value_or(""));
    areDone = areDone && !complaint;
  }
  writer.flush();
  for (std::size_t place = 0; place < complaints.size(); ++place) {
    if (!complaints[place].empty()) complainOf(points[place].point, complaints[place]);
  }
  if (isInterrupted()) return ExitStatus::kInterrupted;
  return areDone ? ExitStatus::kWell : ExitStatus::kPointsFailed;
}

void complainOf(const plant::Point& point, const std::string& complaint) {
  complain(fmt::format("{} (RegId {}): {}", point.fullName(), point.regId, complaint));
}

}  // namespace tool
