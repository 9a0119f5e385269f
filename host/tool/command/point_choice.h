#pragma once

#include <CLI/App.hpp>
#include <memory>
#include <string>
#include <vector>

#include "host/tool/command/commands.h"
#include "host/tool/options.h"
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

/// Lets `own`, which has a PointChoice called `choice`, name points on the command line of `command`, and has `run`
/// done with it; the command's further options are the caller's.
template <typename Own>
void addPointCommand(CLI::App& command, Action& action, const std::shared_ptr<Own>& own,
                     ExitStatus (*run)(const Options&, COutput&, const Own&)) {
  own->choice.addTo(command);
  command.callback([&action, own, run] {
    own->choice.readFile();
    action.run = [own, run](const Options& options, COutput& output) { return run(options, output, *own); };
  });
}

}  // namespace tool
