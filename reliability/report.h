#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace support {

/// Leaves one row of a table of docs/reliability.md in the build folder, where scripts/reliability collects them. Rows
/// stand in the order of `key`. Result: the row.
inline std::string reportRow(const std::string& table, const std::string& key, const std::vector<std::string>& cells) {
  std::string row = "|";
  for (const std::string& cell : cells) row += " " + cell + " |";
  const std::filesystem::path directory = std::filesystem::path(BIN_DIR) / "reliability" / table;
  std::filesystem::create_directories(directory);
  std::ofstream(directory / key) << row << "\n";
  return row;
}

}  // namespace support
