#include <fmt/format.h>

#include <charconv>
#include <map>
#include <set>

#include "host/tool/live/report_file.h"
#include "plant/csv.h"

namespace tool {

namespace {

constexpr const char* kReport = "report";
constexpr const char* kLink = "link";
constexpr const char* kFinding = "finding";
constexpr const char* kPoint = "point";

const std::vector<std::string> kColumns = {"record",   "link",     "regId",   "name",   "objectType", "instance",
                                           "property", "dataType", "status",  "code",   "value",      "flags",
                                           "write",    "changes",  "change",  "check",  "line",       "problem",
                                           "remedy",   "device",   "address", "vendor", "model",      "firmware"};

// Findings share columns with points; these are theirs.
const std::map<std::string, std::string> kFindingFields = {
    {"status", "severity"}, {"link", "link"},     {"regId", "regId"},     {"name", "where"},   {"check", "check"},
    {"line", "line"},       {"change", "change"}, {"problem", "problem"}, {"remedy", "remedy"}};

const std::set<std::string> kNumbers = {"link",     "regId", "objectType", "instance",
                                        "property", "code",  "line",       "device"};

Record fieldOf(const std::string& column, const std::string& text) {
  if (kNumbers.count(column) == 0) return text;
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, failure] = std::from_chars(text.data(), end, number);
  return failure == std::errc() && stop == end ? Record(number) : Record();
}

std::string lineOf(const char* kind, const Record& record) {
  std::vector<std::string> fields = {kind};
  for (std::size_t i = 1; i < kColumns.size(); ++i) {
    const auto field = record.find(kColumns[i]);
    fields.push_back(field == record.end() ? "" : fieldText(*field));
  }
  return plant::csvLine(fields);
}

Record recordIn(const plant::CsvRow& row) {
  Record record;
  for (std::size_t i = 1; i < kColumns.size(); ++i) record[kColumns[i]] = fieldOf(kColumns[i], row.fields[i]);
  return record;
}

std::string findingLine(const Record& finding) {
  Record record;
  for (const auto& [column, field] : kFindingFields)
    record[column] = finding.contains(field) ? finding[field] : Record();
  return lineOf(kFinding, record);
}

Record findingIn(const plant::CsvRow& row) {
  const Record record = recordIn(row);
  Record finding;
  for (const auto& [column, field] : kFindingFields) finding[field] = record[column];
  return finding;
}

}  // namespace

std::string toCsv(const LiveReport& report) {
  std::string text = plant::csvLine(kColumns);
  text += lineOf(kReport, {{"name", report.project}, {"value", report.time}});
  for (const Record& each : report.links) text += lineOf(kLink, each);
  for (const Record& each : report.findings) text += findingLine(each);
  for (const Record& each : report.points) text += lineOf(kPoint, each);
  return text;
}

std::optional<LiveReport> parseCsv(const std::string& text, std::string& error) {
  const auto rows = plant::readCsv(text, ',');
  if (rows.empty() || rows.front().fields != kColumns) {
    error = "it is no report that 'hmi-host check --live --report FILE.csv' wrote";
    return std::nullopt;
  }
  LiveReport report;
  for (auto row = rows.begin() + 1; row != rows.end(); ++row) {
    if (row->isBlank()) continue;
    if (row->fields.size() != kColumns.size()) {
      error = fmt::format("line {} has {} fields instead of {}", row->line, row->fields.size(), kColumns.size());
      return std::nullopt;
    }
    const std::string& kind = row->fields.front();
    if (kind == kReport) {
      report.project = recordIn(*row)["name"].get<std::string>();
      report.time = recordIn(*row)["value"].get<std::string>();
    } else if (kind == kLink) {
      report.links.push_back(recordIn(*row));
    } else if (kind == kFinding) {
      report.findings.push_back(findingIn(*row));
    } else if (kind == kPoint) {
      report.points.push_back(recordIn(*row));
    } else {
      error = fmt::format("line {} is of an unknown kind, '{}'", row->line, kind);
      return std::nullopt;
    }
  }
  return report;
}

}  // namespace tool
