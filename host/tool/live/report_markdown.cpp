#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "bacnet/number/names.h"
#include "host/tool/live/report_file.h"

namespace tool {

namespace {

constexpr std::size_t kLongestValue = 60;  // characters of a cell

constexpr const char* kLegend =
    "Nothing was written to the devices. *Writing*: `commandable`, the object has priorities; `out of service`, only "
    "while the object is out of service; `usual`, a property that devices let be written as a rule; `no`, read only; "
    "`unknown`, only a write tells. *Changes*: `notified`, the object has what notifications need; whether the device "
    "has room for all subscriptions shows when the link subscribes.\n";

// What would end a cell, or the line.
std::string cell(const std::string& text) {
  std::string safe;
  for (const char each : shortenedTo(text, kLongestValue * 3)) {
    const bool isControl = static_cast<unsigned char>(each) < 0x20 || each == 0x7F;
    if (each == '|' || each == '\\' || each == '<' || each == '`') safe += '\\';
    safe += isControl ? ' ' : each;
  }
  return safe;
}

std::string table(const std::vector<Column>& columns, const std::vector<Record>& records) {
  std::string head = "|";
  std::string rule = "|";
  for (const Column& each : columns) {
    head += fmt::format(" {} |", each.title);
    rule += each.isNumber ? "---:|" : "---|";
  }
  std::string text = fmt::format("{}\n{}\n", head, rule);
  for (const Record& record : records) {
    text += '|';
    for (const Column& each : columns) {
      const auto field = record.find(each.key);
      text += fmt::format(" {} |", field == record.end() ? "" : cell(fieldText(*field)));
    }
    text += '\n';
  }
  return text;
}

std::string named(const bacnet::CNameTable& names, const Record& number) {
  const auto name = names.name(number.get<std::uint32_t>());
  return name.empty() ? number.dump() : std::string(name);
}

Record shownPoint(Record point) {
  point["object"] =
      fmt::format("{} {}", named(bacnet::kObjectTypeNames, point["objectType"]), point["instance"].dump());
  point["property"] = named(bacnet::kPropertyNames, point["property"]);
  point["value"] = shortenedTo(fieldText(point["value"]), kLongestValue);
  if (point["code"].is_number() && point["code"] != 0)
    point["status"] = fmt::format("{} (code {})", point["status"].get<std::string>(), point["code"].dump());
  return point;
}

std::string changesOf(const LiveReport& report) {
  std::map<std::string, std::size_t> findings;
  std::map<std::string, std::size_t> points;
  for (const Record& each : report.findings)
    ++(each.value("check", "") == "point" ? points : findings)[each.value("change", "")];
  return fmt::format(
      "Compared with the report of {}: {} findings new, {} changed, {} mended; {} points added, {} changed, {} "
      "removed.\n",
      report.since, findings["new"], findings["changed"], findings["mended"], points["added"], points["changed"],
      points["removed"]);
}

}  // namespace

std::string toMarkdown(const LiveReport& report) {
  std::vector<Column> columns = {{"severity", "Severity"}, {"link", "Link", true}, {"line", "Line", true},
                                 {"where", "Where"},       {"problem", "Problem"}, {"remedy", "Remedy"}};
  if (!report.since.empty()) columns.insert(columns.begin(), {"change", "Change"});
  std::vector<Record> points;
  std::transform(report.points.begin(), report.points.end(), std::back_inserter(points), shownPoint);

  std::string text =
      fmt::format("# A project and its devices\n\nProject: {}  \nDate: {}\n\n", cell(report.project), report.time);
  text += table({{"link", "Link", true},
                 {"device", "Device", true},
                 {"address", "Address"},
                 {"name", "Name"},
                 {"vendor", "Vendor"},
                 {"model", "Model"},
                 {"firmware", "Firmware"},
                 {"points", "Points", true},
                 {"read", "Read", true},
                 {"errors", "Errors", true},
                 {"warnings", "Warnings", true}},
                report.links);
  text += fmt::format("\nIn all: {} points of {} links; errors: {}, warnings: {}.\n", report.points.size(),
                      report.links.size(), report.errors(), report.warnings());
  if (!report.since.empty()) text += changesOf(report);
  text += "\n## Findings\n\n";
  text += report.findings.empty() ? "None.\n" : table(columns, report.findings);
  text += "\n## Points\n\n";
  text += table({{"link", "Link", true},
                 {"regId", "RegId", true},
                 {"name", "Name"},
                 {"object", "Object"},
                 {"property", "Property"},
                 {"dataType", "DataType"},
                 {"status", "Status"},
                 {"value", "Value"},
                 {"flags", "Flags"},
                 {"write", "Writing"},
                 {"changes", "Changes"}},
                points);
  return text + "\n" + kLegend;
}

}  // namespace tool
