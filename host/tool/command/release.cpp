#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <vector>

#include "host/tool/command/commanding.h"
#include "host/tool/command/commands.h"
#include "host/tool/command/point_choice.h"
#include "host/tool/link/project.h"

namespace tool {

namespace {

struct ReleaseOptions {
  PointChoice choice;
  std::optional<int> priority;
};

ExitStatus release(const Options& options, COutput& output, const ReleaseOptions& own) {
  const plant::Link link = readPresentLink(options);
  std::vector<CommandedPoint> points;
  for (const plant::Point& point : own.choice.pointsOf(link)) points.push_back(commandedPoint(point, own.priority));
  return changeCommands(options, output, link, points,
                        [&](CDevice& device, const bacnet::ObjectId& object, std::size_t place) {
                          return releaseAt(device, object, points[place].priority);
                        });
}

}  // namespace

void addRelease(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand(
      "release", std::string("give up the command of points at a priority (write Null). ") + kOwnStation);
  const auto own = std::make_shared<ReleaseOptions>();
  addPriority(*command, own->priority);
  addPointCommand(*command, action, own, release);
  setExample(*command, "hmi-host --project /opt/project release SupplyAir.TempSetpoint --priority 8");
}

}  // namespace tool
