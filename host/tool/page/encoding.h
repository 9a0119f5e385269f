#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/tool/console/records.h"
#include "host/tool/page/board.h"

namespace tool {

// What the page is told, as JSON: docs/page-api.md has each form. Whatever a device has sent stays a text in it.

using Boards = std::vector<std::unique_ptr<CBoard>>;

/// JSON in one line; bytes that are no UTF-8 are replaced.
std::string jsonText(const Record& record);

std::string linksJson(const Boards& boards);
/// `areWritable`: whether this server takes writes at all.
std::string pointsJson(const Boards& boards, bool areWritable);
/// Of the points at `places`.
std::string valuesJson(const CBoard& board, const std::vector<std::size_t>& places, std::int64_t time);
/// Of all points, as they are.
std::string allValuesJson(const Boards& boards, std::int64_t time);
std::string historyJson(const std::vector<Sample>& samples);
std::string historyCsv(const std::vector<Sample>& samples);
std::string errorsJson(const std::vector<PointError>& errors);

}  // namespace tool
