#pragma once

#include <CLI/App.hpp>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/tool/console/output.h"
#include "host/tool/failure.h"
#include "host/tool/network/commanded_object.h"
#include "host/tool/options.h"
#include "plant/project.h"

namespace tool {

/// A point whose object is to be commanded, or released, at a priority.
struct CommandedPoint {
  plant::Point point;
  std::uint8_t priority;
};

/// What commands that talk to a link's device themselves say of it in their help.
constexpr const char* kOwnStation =
    "Asks the device itself, from a UDP port of its own: neither plug-in nor helper take part.";

/// Adds --priority N, which is none to write at when it is 6.
CLI::Option* addPriority(CLI::App& command, std::optional<int>& priority);

/// The point at the priority named, or at its own. Throws CFailure (usage) when it is none that has priorities.
CommandedPoint commandedPoint(const plant::Point& point, const std::optional<int>& priority);

/// Has `change` done to each point's object, then shows what commands it now. Result: points failed where one was not
/// done; interrupted with Ctrl-C.
ExitStatus changeCommands(
    const Options& options, COutput& output, const plant::Link& link, const std::vector<CommandedPoint>& points,
    const std::function<Complaint(CDevice& device, const bacnet::ObjectId& object, std::size_t place)>& change);

/// One line on standard error for a point that failed.
void complainOf(const plant::Point& point, const std::string& complaint);

}  // namespace tool
