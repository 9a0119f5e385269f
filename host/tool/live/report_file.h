#pragma once

#include <optional>
#include <string>

#include "host/tool/live/live_report.h"

namespace tool {

/// The report as a table for a spreadsheet, and for a later comparison: a line for the report itself, one a link, one a
/// finding and one a point, told apart by the first column.
std::string toCsv(const LiveReport& report);

/// A report that `toCsv` wrote, every field as text. Result: nothing with a one-line `error` when `text` is none.
std::optional<LiveReport> parseCsv(const std::string& text, std::string& error);

/// The report as a document: devices and totals, findings, all points.
std::string toMarkdown(const LiveReport& report);

}  // namespace tool
