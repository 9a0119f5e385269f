#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "host/tool/batching.h"
#include "host/tool/options.h"
#include "host/tool/session.h"
#include "plant/project.h"

namespace tool {

/// How a command line names points: one by one, in a file, or all of the link.
struct PointChoice {
  std::vector<std::string> names;
  bool isAll = false;
  std::string file;  ///< one point a line, # begins a comment; "-" is standard input

  /// Adds POINT..., --all and --file to `command`.
  void addTo(CLI::App& command);

  /// Reads the file's names, too; needed before the output takes standard input away. Throws CFailure (usage).
  void readFile();

  /// The points in the order named, none twice; never empty. Throws CFailure (usage) when one is unknown or none is
  /// named, (project) when the link has none at all.
  std::vector<plant::Point> pointsOf(const plant::Link& link) const;
};

/// One read access per point, prepared by the driver.
std::vector<Access> prepareReads(CSession& session, const std::vector<plant::Point>& points);

}  // namespace tool
