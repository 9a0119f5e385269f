#include "host/tool/command/point_texts.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <string>

#include "host/tool/console/error_relay.h"
#include "host/tool/console/interrupt.h"
#include "host/tool/failure.h"
#include "host/tool/link/helper_files.h"
#include "host/tool/link/helper_version.h"
#include "host/tool/link/project.h"

namespace tool {

namespace {

bool isSimulated(const Options& options) {
  HelperVersion version;
  const auto failure = failureOf([&] { version = versionOf(findHelper(options.project)); });
  return !failure && version.isSimulated;
}

void remark(const Options& options, const std::string& problem) {
  complain(fmt::format("units and texts of link {} are not known: {}", options.link, problem));
}

}  // namespace

void addTextsFlag(CLI::App& command, bool& flag) {
  command.add_flag("--texts", flag,
                   "units, states, objects and properties in words; the device is asked for what it calls them");
}

std::vector<PointFacts> askForTexts(const Options& options, const std::vector<plant::Point>& points) {
  std::string problem;
  auto facts = readPointFacts(readPresentLink(options), points, options.broadcastInterface(), {}, problem);
  if (!problem.empty() && !isInterrupted()) remark(options, problem);
  return facts;
}

std::vector<PointFacts> askForTextsOfValues(const Options& options, const std::vector<plant::Point>& points) {
  if (!isSimulated(options)) return askForTexts(options, points);
  remark(options, "the helper simulates, its values are no device's");
  std::vector<PointFacts> facts;
  std::transform(points.begin(), points.end(), std::back_inserter(facts), standardFacts);
  return facts;
}

}  // namespace tool
