#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "plant/ede.h"
#include "plant/project.h"

namespace plant {

/// A row of a project as a table: a link's parameters, or a point.
struct TableRow {
  std::size_t line = 0;
  bool isLink = false;
  Link link;  ///< its parameters, or of a point just the number
  Point point;
  bool hasRegId = false;  ///< a point without one is to get one
};

/// The links and their points as CSV with a header line, separated by commas, in UTF-8: everything that `readLinks`
/// gives, so that a project made of it reads the same.
std::string toTable(const std::vector<Link>& links);

/// Whether a CSV file is such a table: its first row names the column regId.
bool isTable(std::string_view bytes);

/// Reads such a table, with columns in any order and of any of the usual encodings and separators, as spreadsheets
/// leave them. A column that is missing has the default of the project file. What cannot be read goes to `leftOut`.
std::vector<TableRow> readTable(std::string_view bytes, std::vector<LeftOut>& leftOut);

}  // namespace plant
