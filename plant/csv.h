#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace plant {

/// One record of a CSV file and the line, from 1, on which it begins.
struct CsvRow {
  std::size_t line = 0;
  std::vector<std::string> fields;

  bool isBlank() const;
};

/// The separator that stands most often in the first lines of `text` outside of quotes: ';', ',' or a tab.
char separatorOf(std::string_view text);

/// The rows of `text`, blank ones too. A field in quotes may hold separators, line ends and doubled quotes; a quote
/// that is never closed is a character like any other, and a control character, which no project file holds, a blank.
std::vector<CsvRow> readCsv(std::string_view text, char separator);

/// One record with its line end; fields are quoted where they need it.
std::string csvLine(const std::vector<std::string>& fields, char separator = ',');

/// `text` without the blanks around it.
std::string_view withoutBlanks(std::string_view text);
/// A column's name as it is compared: lower-case letters and digits only.
std::string columnKey(std::string_view name);

}  // namespace plant
