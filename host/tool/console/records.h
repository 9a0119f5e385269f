#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/tool/console/output.h"

namespace tool {

enum class Format { kTable, kJson, kCsv };

/// One result as a flat object: what JSON prints, and where table and CSV take their cells from. A field that a record
/// lacks is an empty cell.
using Record = nlohmann::ordered_json;

struct Column {
  std::string key;
  std::string title;
  bool isNumber = false;  ///< aligned to the right
};

/// Lines of a table whose columns grow with what they have to hold and never shrink.
class CTable {
 public:
  explicit CTable(std::vector<Column> columns);

  void fit(const Record& record);
  /// Has the cells of column `key` shortened in their middle, so that the columns up to `last` take `width` characters,
  /// but never to less than eight. For the lines that follow, until it is called again.
  void shorten(const std::string& key, const std::string& last, std::size_t width);
  std::string header() const;
  std::string line(const Record& record) const;

 private:
  std::string join(const std::vector<std::string>& cells) const;

  std::vector<Column> columns_;
  std::vector<std::size_t> widths_;
  std::vector<std::size_t> limits_;  // widths, where no column is shortened
};

/// Writes records in the format asked for: JSON one object a line, CSV with a header line, or an aligned table.
class CRecordWriter {
 public:
  CRecordWriter(COutput& output, Format format, std::vector<Column> columns);

  /// Makes the table's columns wide enough for a record that is still to come.
  void fit(const Record& record) { table_.fit(record); }
  void add(Record record, Tone tone = Tone::kPlain);
  /// Writes what was added since the last time; the header stands before the first record only.
  void flush();

 private:
  std::string formatted(const Record& record, Tone tone) const;

  struct Entry {
    Record record;
    Tone tone;
  };

  COutput& output_;
  Format format_;
  std::vector<Column> columns_;
  CTable table_;
  std::vector<Entry> entries_;
  bool hasHeader_ = false;
};

/// Writes one record by itself; as a table, with a line per field.
void writeSingle(COutput& output, Format format, const Record& record);

/// A field as tables and CSV show it.
std::string fieldText(const Record& field);

/// Number of characters that UTF-8 `text` takes on a terminal.
std::size_t displayWidth(const std::string& text);

/// UTF-8 `text` in `width` characters, an ellipsis in the place of its middle where it has more.
std::string shortenedTo(const std::string& text, std::size_t width);

/// The first `width` characters of UTF-8 `text`.
std::string cutTo(const std::string& text, std::size_t width);

}  // namespace tool
