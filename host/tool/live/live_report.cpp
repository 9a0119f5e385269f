#include "host/tool/live/live_report.h"

#include <algorithm>

namespace tool {

namespace {

const char* wordOf(plant::Severity severity) {
  return severity == plant::Severity::kError ? "error" : "warning";
}

Record findingOf(std::int32_t link, const plant::Point* point, const Discrepancy& discrepancy) {
  Record record;
  record["severity"] = wordOf(discrepancy.severity);
  record["link"] = link;
  record["regId"] = point ? Record(point->regId) : Record();
  record["where"] = point ? point->fullName() : "BACnet";
  record["check"] = discrepancy.check;
  record["line"] = Record();
  record["problem"] = discrepancy.problem;
  record["remedy"] = discrepancy.remedy;
  return record;
}

const char* statusOf(const CheckedPoint& point) {
  if (!point.code) return "not read";
  const auto isError = [](const Discrepancy& each) { return each.severity == plant::Severity::kError; };
  if (std::any_of(point.discrepancies.begin(), point.discrepancies.end(), isError)) return "error";
  return point.discrepancies.empty() ? "ok" : "warning";
}

Record recordOf(std::int32_t link, const CheckedPoint& checked) {
  const plant::Point& point = checked.point;
  Record record;
  record["link"] = link;
  record["regId"] = point.regId;
  record["name"] = point.fullName();
  record["objectType"] = point.objectType;
  record["instance"] = point.instance;
  record["property"] = point.propId;
  record["dataType"] = point.dataTypeWord;
  record["status"] = statusOf(checked);
  record["code"] = checked.code ? Record(*checked.code) : Record();
  record["value"] = checked.value;
  record["flags"] = checked.flags;
  record["write"] = checked.write;
  record["changes"] = checked.changes;
  return record;
}

}  // namespace

std::size_t LiveReport::count(const char* severity) const {
  return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(), [&](const Record& each) {
    return each.value("severity", "") == severity && each.value("change", "") != "mended";
  }));
}

Record recordOf(const plant::Problem& problem) {
  Record record;
  record["severity"] = wordOf(problem.severity);
  record["link"] = problem.link ? Record(*problem.link) : Record();
  record["regId"] = Record();
  record["where"] = problem.where;
  record["check"] = "file";
  record["line"] = problem.line;
  record["problem"] = problem.text;
  record["remedy"] = problem.remedy;
  return record;
}

void add(const CheckedLink& link, LiveReport& report) {
  const std::size_t errorsBefore = report.errors();
  const std::size_t warningsBefore = report.warnings();
  for (const Discrepancy& each : link.discrepancies) report.findings.push_back(findingOf(link.number, nullptr, each));
  std::size_t read = 0;
  for (const CheckedPoint& point : link.points) {
    for (const Discrepancy& each : point.discrepancies)
      report.findings.push_back(findingOf(link.number, &point.point, each));
    report.points.push_back(recordOf(link.number, point));
    read += point.code ? 1 : 0;
  }
  Record record;
  record["link"] = link.number;
  record["device"] = link.device.instance ? Record(*link.device.instance) : Record();
  record["address"] = link.device.address;
  record["name"] = link.device.name;
  record["vendor"] = link.device.vendor;
  record["model"] = link.device.model;
  record["firmware"] = link.device.firmware;
  record["points"] = link.points.size();
  record["read"] = read;
  record["errors"] = report.errors() - errorsBefore;
  record["warnings"] = report.warnings() - warningsBefore;
  report.links.push_back(record);
}

}  // namespace tool
