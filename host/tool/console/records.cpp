#include "host/tool/console/records.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace tool {

namespace {

constexpr std::string_view kGap = "  ";
constexpr const char* kEllipsis = "…";
constexpr std::size_t kShortest = 8;

bool startsCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
}

// Length of the UTF-8 character at the beginning of `text`; 0 when there is none, or one that is written too long, a
// surrogate or beyond Unicode.
std::size_t characterLength(std::string_view text) {
  const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byteAt(0);
  if (lead < 0x80) return 1;
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if (startsCharacter(text[i])) return 0;
  }
  const bool isTooLong = (lead == 0xE0 && byteAt(1) < 0xA0) || (lead == 0xF0 && byteAt(1) < 0x90);
  const bool isBeyond = (lead == 0xED && byteAt(1) >= 0xA0) || (lead == 0xF4 && byteAt(1) >= 0x90);
  return isTooLong || isBeyond ? 0 : length;
}

bool isControl(std::string_view character) {
  const auto last = static_cast<unsigned char>(character.back());
  return character.size() == 1 ? last < 0x20 || last == 0x7F
                               : character.size() == 2 && character[0] == '\xC2' && last < 0xA0;
}

// Field devices send what they like: nothing of it may move a terminal's cursor, or break a reader of UTF-8.
std::string printable(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const std::size_t length = characterLength(text);
    const std::string_view character = text.substr(0, std::max<std::size_t>(length, 1));
    if (length == 0 || isControl(character))
      shown += fmt::format("\\x{:02x}", static_cast<unsigned char>(character.back()));
    else
      shown += character;
    text.remove_prefix(character.size());
  }
  return shown;
}

// The library's own text of a number is at times a longer one than need be.
std::string shortestText(double number) {
  const std::string text = fmt::format("{}", number);
  return text.find_first_of(".einf") == std::string::npos ? text + ".0" : text;
}

std::string jsonText(const Record& record) {
  std::string text;
  for (const auto& [key, value] : record.items()) {
    text += fmt::format("{}{}:", text.empty() ? "{" : ",", Record(key).dump());
    text += value.is_number_float()
                ? shortestText(value.get<double>())
                : value.dump(-1, ' ', false, Record::error_handler_t::replace);  // also for no UTF-8
  }
  return text + "}";
}

std::string cellText(const Record& record, const std::string& key) {
  const auto field = record.find(key);
  return field == record.end() ? "" : printable(fieldText(*field));
}

std::string csvCell(std::string text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  for (std::size_t quote = text.find('"'); quote != std::string::npos; quote = text.find('"', quote + 2))
    text.insert(quote, 1, '"');
  return '"' + text + '"';
}

template <typename TextOf>
std::vector<std::string> cellsOf(const std::vector<Column>& columns, TextOf textOf) {
  std::vector<std::string> cells;
  cells.reserve(columns.size());
  for (const Column& column : columns) cells.push_back(textOf(column));
  return cells;
}

std::string csvHeader(const std::vector<Column>& columns) {
  return fmt::format("{}\n", fmt::join(cellsOf(columns, [](const Column& column) { return column.key; }), ","));
}

std::string csvLine(const std::vector<Column>& columns, const Record& record) {
  const auto cells = cellsOf(columns, [&](const Column& column) { return csvCell(cellText(record, column.key)); });
  return fmt::format("{}\n", fmt::join(cells, ","));
}

}  // namespace

std::string fieldText(const Record& field) {
  if (field.is_null()) return "";
  if (field.is_string()) return field.get<std::string>();
  if (field.is_number_float()) return shortestText(field.get<double>());
  if (!field.is_array()) return field.dump();
  std::string text;
  for (const Record& element : field) text += (text.empty() ? "" : " ") + fieldText(element);
  return text;
}

std::size_t displayWidth(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), startsCharacter));
}

std::string cutTo(const std::string& text, std::size_t width) {
  std::size_t characters = 0;
  const auto end =
      std::find_if(text.begin(), text.end(), [&](char byte) { return startsCharacter(byte) && ++characters > width; });
  return {text.begin(), end};
}

std::string shortenedTo(const std::string& text, std::size_t width) {
  const std::size_t length = displayWidth(text);
  if (length <= width) return text;
  if (width == 0) return "";
  const std::size_t head = (width - 1) / 2;
  return cutTo(text, head) + kEllipsis + text.substr(cutTo(text, length - (width - 1 - head)).size());
}

CTable::CTable(std::vector<Column> columns) : columns_(std::move(columns)) {
  for (const Column& column : columns_) widths_.push_back(displayWidth(column.title));
  limits_ = widths_;
}

void CTable::fit(const Record& record) {
  for (std::size_t i = 0; i < columns_.size(); ++i)
    widths_[i] = std::max(widths_[i], displayWidth(cellText(record, columns_[i].key)));
  limits_ = widths_;
}

void CTable::shorten(const std::string& key, const std::string& last, std::size_t width) {
  limits_ = widths_;
  std::size_t taken = 0;
  std::size_t shortened = 0;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    taken += widths_[i] + kGap.size();
    if (columns_[i].key == key) shortened = i;
    if (columns_[i].key == last) break;
  }
  const std::size_t excess = taken - std::min(taken, width + kGap.size());
  const std::size_t least = std::min(widths_[shortened], kShortest);
  limits_[shortened] = std::max(least, widths_[shortened] - std::min(widths_[shortened], excess));
}

std::string CTable::header() const {
  return join(cellsOf(columns_, [](const Column& column) { return column.title; }));
}

std::string CTable::line(const Record& record) const {
  return join(cellsOf(columns_, [&](const Column& column) { return cellText(record, column.key); }));
}

std::string CTable::join(const std::vector<std::string>& cells) const {
  std::string line;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const std::string cell = shortenedTo(cells[i], limits_[i]);
    const std::string padding(limits_[i] - displayWidth(cell), ' ');
    if (i > 0) line += kGap;
    line += columns_[i].isNumber ? padding + cell : cell + padding;
  }
  return line.substr(0, line.find_last_not_of(' ') + 1);
}

CRecordWriter::CRecordWriter(COutput& output, Format format, std::vector<Column> columns)
    : output_(output), format_(format), columns_(columns), table_(std::move(columns)) {}

void CRecordWriter::add(Record record, Tone tone) {
  table_.fit(record);
  entries_.push_back({std::move(record), tone});
}

void CRecordWriter::flush() {
  std::string text;
  if (!hasHeader_ && format_ == Format::kTable) text = table_.header() + '\n';
  if (!hasHeader_ && format_ == Format::kCsv) text = csvHeader(columns_);
  hasHeader_ = true;
  for (const Entry& entry : entries_) text += formatted(entry.record, entry.tone);
  entries_.clear();
  output_.write(text);
}

std::string CRecordWriter::formatted(const Record& record, Tone tone) const {
  switch (format_) {
    case Format::kTable:
      return output_.paint(table_.line(record), tone) + '\n';
    case Format::kJson:
      return jsonText(record) + '\n';
    case Format::kCsv:
      return csvLine(columns_, record);
  }
  return "";
}

void writeSingle(COutput& output, Format format, const Record& record) {
  if (format != Format::kTable) {
    std::vector<Column> columns;
    for (const auto& field : record.items()) columns.push_back({field.key(), field.key()});
    CRecordWriter writer(output, format, columns);
    writer.add(record);
    writer.flush();
    return;
  }
  std::size_t width = 0;
  for (const auto& field : record.items()) width = std::max(width, field.key().size());
  std::string text;
  for (const auto& field : record.items()) {
    const std::string shown = printable(fieldText(field.value()));
    text += shown.empty() ? field.key() + '\n' : fmt::format("{:{}}  {}\n", field.key(), width, shown);
  }
  output.write(text);
}

}  // namespace tool
