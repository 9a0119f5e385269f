#include "plant/point_table.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <map>
#include <stdexcept>

#include "plant/csv.h"
#include "plant/text_encoding.h"

namespace plant {

namespace {

constexpr const char* kLinkRecord = "link";
constexpr const char* kPointRecord = "point";

std::string textOf(std::int32_t number) {
  return std::to_string(number);
}
std::string textOf(bool value) {
  return value ? "true" : "false";
}
std::string textOf(const std::string& text) {
  return text;
}

// A cell that is not what its column holds; its text says so.
struct BadCell : std::runtime_error {
  using std::runtime_error::runtime_error;
};

void take(const std::string& text, std::int32_t& number) {
  const std::string_view digits = withoutBlanks(text);
  if (digits.empty()) return;
  const auto [stop, failure] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (failure != std::errc() || stop != digits.data() + digits.size())
    throw BadCell("'" + text + "' is no whole number");
}
// Spreadsheets write these in capitals.
void take(const std::string& text, bool& value) {
  const std::string key = columnKey(text);
  value = key == "true" || key == "1";
  if (!value && !key.empty() && key != "false" && key != "0") throw BadCell("'" + text + "' is not true or false");
}
void take(const std::string& text, std::string& value) {
  if (!withoutBlanks(text).empty()) value = text;
}

struct TableColumn {
  const char* name;
  bool isOfLink;
  std::function<std::string(const TableRow&)> get;
  std::function<void(TableRow&, const std::string&)> set;
};

template <typename Field>
TableColumn linkColumn(const char* name, Field Link::*field) {
  return {name, true, [field](const TableRow& row) { return textOf(row.link.*field); },
          [field](TableRow& row, const std::string& text) { take(text, row.link.*field); }};
}

template <typename Field>
TableColumn pointColumn(const char* name, Field Point::*field) {
  return {name, false, [field](const TableRow& row) { return textOf(row.point.*field); },
          [field](TableRow& row, const std::string& text) { take(text, row.point.*field); }};
}

const std::vector<TableColumn>& columns() {
  static const std::vector<TableColumn> all = {
      {"regId", false, [](const TableRow& row) { return textOf(row.point.regId); },
       [](TableRow& row, const std::string& text) {
         take(text, row.point.regId);
         row.hasRegId = !withoutBlanks(text).empty();
       }},
      {"name", false, [](const TableRow& row) { return row.point.fullName(); },
       [](TableRow& row, const std::string& text) { setName(row.point, text); }},
      pointColumn("objectType", &Point::objectType),
      pointColumn("instance", &Point::instance),
      pointColumn("propId", &Point::propId),
      pointColumn("dataType", &Point::dataTypeWord),
      pointColumn("bitNum", &Point::bitNum),
      pointColumn("priorityReset", &Point::priorityReset),
      linkColumn("ip", &Link::ip),
      linkColumn("desPort", &Link::desPort),
      linkColumn("srcPort", &Link::srcPort),
      linkColumn("deviceId", &Link::deviceId),
      linkColumn("enableReadPropm", &Link::enableReadPropm),
      linkColumn("enableWritePropm", &Link::enableWritePropm),
      linkColumn("enableSCOV", &Link::enableSCOV),
      linkColumn("mode", &Link::mode),
      linkColumn("network", &Link::network),
      linkColumn("macLen", &Link::macLen),
      linkColumn("virtualMac", &Link::virtualMac)};
  return all;
}

std::string lineOf(const TableRow& row) {
  std::vector<std::string> fields = {row.isLink ? kLinkRecord : kPointRecord, textOf(row.link.linkId)};
  for (const TableColumn& column : columns()) fields.push_back(column.isOfLink == row.isLink ? column.get(row) : "");
  return csvLine(fields);
}

// The position of each column in a table, by its key.
using CellPositions = std::map<std::string, std::size_t>;

CellPositions positionsIn(const CsvRow& header) {
  CellPositions positions;
  for (std::size_t i = 0; i < header.fields.size(); ++i) positions.emplace(columnKey(header.fields[i]), i);
  return positions;
}

std::string cell(const CsvRow& row, const CellPositions& positions, const char* name) {
  const auto position = positions.find(columnKey(name));
  return position == positions.end() || position->second >= row.fields.size() ? "" : row.fields[position->second];
}

TableRow rowOf(const CsvRow& source, const CellPositions& positions) {
  TableRow row;
  row.line = source.line;
  const std::string record = columnKey(cell(source, positions, "record"));
  if (record != kLinkRecord && record != kPointRecord && !record.empty())
    throw BadCell("record '" + record + "' is neither link nor point");
  row.isLink = record == kLinkRecord;
  row.link.linkId = 1;
  const std::string link = cell(source, positions, "link");
  take(link, row.link.linkId);
  if (row.link.linkId < 0) throw BadCell("'" + link + "' is no link's number");
  for (const TableColumn& column : columns()) {
    if (column.isOfLink != row.isLink) continue;
    try {
      column.set(row, cell(source, positions, column.name));
    } catch (const BadCell& bad) {
      throw BadCell(std::string(column.name) + " " + bad.what());
    }
  }
  setDataType(row.point, row.point.dataTypeWord);
  row.link.network = static_cast<std::uint16_t>(row.link.network);  // as the project file's reader keeps it
  return row;
}

}  // namespace

std::string toTable(const std::vector<Link>& links) {
  std::vector<std::string> names = {"record", "link"};
  for (const TableColumn& column : columns()) names.emplace_back(column.name);
  std::string table = csvLine(names);
  for (const Link& link : links) {
    TableRow row;
    row.isLink = true;
    row.link = link;
    table += lineOf(row);
    row.isLink = false;
    for (const Point& point : link.points) {
      row.point = point;
      table += lineOf(row);
    }
  }
  return table;
}

bool isTable(std::string_view bytes) {
  const std::string text = decoded(bytes);
  for (const CsvRow& row : readCsv(text, separatorOf(text))) {
    if (!row.isBlank()) return positionsIn(row).count("regid") > 0;
  }
  return false;
}

std::vector<TableRow> readTable(std::string_view bytes, std::vector<LeftOut>& leftOut) {
  const std::string text = decoded(bytes);
  std::vector<TableRow> rows;
  CellPositions positions;
  for (const CsvRow& row : readCsv(text, separatorOf(text))) {
    if (row.isBlank()) continue;
    if (positions.empty()) {
      positions = positionsIn(row);
      continue;
    }
    try {
      rows.push_back(rowOf(row, positions));
    } catch (const BadCell& bad) {
      leftOut.push_back({row.line, cell(row, positions, "name"), bad.what()});
    }
  }
  return rows;
}

}  // namespace plant
