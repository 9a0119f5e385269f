#pragma once

#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace support {

inline std::string replaced(std::string text, const std::string& what, const std::string& by) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
    text.replace(at, what.size(), by);
  return text;
}

/// What stays of an output when it is printed another time: numbers differ, and with them the columns' widths.
inline std::string shapeOf(const std::string& text) {
  const std::string numberless = std::regex_replace(text, std::regex(R"(-?[0-9]+(\.[0-9]+)?)"), "#");
  return std::regex_replace(std::regex_replace(numberless, std::regex(" +"), " "), std::regex("(^|\n) "), "$1");
}

struct Example {
  std::string command;
  std::string output;
};

/// The commands of a page and what it shows below them.
inline std::vector<Example> examplesOf(const std::string& page) {
  std::vector<Example> examples;
  bool isInBlock = false;
  std::istringstream lines(page);
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("```", 0) == 0 || line.empty())
      isInBlock = false;
    else if (line.rfind("$ ", 0) == 0)
      isInBlock = (examples.push_back({line.substr(2), ""}), true);
    else if (isInBlock)
      examples.back().output += line + "\n";
  }
  return examples;
}

}  // namespace support
