#include "host/tool/command/point_choice.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "host/tool/failure.h"
#include "host/tool/link/project.h"

namespace tool {

namespace {

constexpr const char* kByteOrderMark = "\xEF\xBB\xBF";

}  // namespace

void PointChoice::addTo(CLI::App& command) {
  const auto point =
      command.add_option("point", names, "RegId, name (with its index, as in Temp[3]), or pattern with * and ?");
  point->type_name("POINT");
  const auto all = command.add_flag("--all", isAll, "every point of the link")->excludes(point);
  command.add_option("-f,--file", file, "points named in FILE, one a line, # begins a comment; - is standard input")
      ->type_name("FILE")
      ->excludes(all);
}

void PointChoice::readFile() {
  if (file.empty()) return;
  std::ifstream named;
  if (file != "-") named.open(file);
  std::istream& lines = file == "-" ? std::cin : named;  // another user's standard input has no path to open
  bool isFirst = true;
  for (std::string line; std::getline(lines, line); isFirst = false) {
    if (isFirst && line.rfind(kByteOrderMark, 0) == 0) line.erase(0, std::strlen(kByteOrderMark));
    line.erase(std::min(line.find('#'), line.size()));
    line.erase(0, line.find_first_not_of(" \t\r"));
    line.erase(line.find_last_not_of(" \t\r") + 1);
    if (!line.empty()) names.push_back(line);
  }
  if (!lines.eof())
    throw CFailure(ExitStatus::kUsage, fmt::format("cannot read {}: {}", file, std::strerror(errno)),
                   "name a file with one point a line");
}

std::vector<plant::Point> PointChoice::pointsOf(const plant::Link& link) const {
  if (isAll && link.points.empty())
    throw CFailure(ExitStatus::kProject, fmt::format("link {} has no points", link.linkId),
                   "add \"Symbol\" elements for it to the project file");
  if (isAll) return link.points;
  if (names.empty()) throw CFailure(ExitStatus::kUsage, "no point is named", "name points, or take --all");
  return findPoints(link, names);
}

}  // namespace tool
