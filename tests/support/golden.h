#pragma once

#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace support {

/// The lines of a file in tests/golden, split at tabs, without its header line.
inline std::vector<std::vector<std::string>> goldenRows(const std::string& name) {
  std::ifstream file(SOURCE_DIR "/tests/golden/" + name);
  std::vector<std::vector<std::string>> rows;
  std::string line;
  for (std::getline(file, line); std::getline(file, line);) {
    std::vector<std::string> fields(1);
    for (const char letter : line) {
      if (letter == '\t') {
        fields.emplace_back();
      } else {
        fields.back() += letter;
      }
    }
    rows.push_back(std::move(fields));
  }
  if (rows.empty()) throw std::runtime_error("no rows in tests/golden/" + name);
  return rows;
}

inline std::string bytesOfHex(std::string_view hex) {
  std::string bytes;
  for (std::size_t at = 0; at + 1 < hex.size(); at += 2) {
    bytes += static_cast<char>(std::stoi(std::string(hex.substr(at, 2)), nullptr, 16));
  }
  return bytes;
}

struct GoldenDatagram {
  std::string name;
  std::string bytes;
  std::string meaning;  ///< JSON
};

inline std::vector<GoldenDatagram> goldenDatagrams() {
  std::vector<GoldenDatagram> datagrams;
  for (const auto& row : goldenRows("datagrams.tsv")) {
    datagrams.push_back({row.at(0), bytesOfHex(row.at(3)), row.at(4)});
  }
  return datagrams;
}

}  // namespace support
