#pragma once

#include <CLI/App.hpp>
#include <vector>

#include "host/tool/network/point_facts.h"
#include "host/tool/options.h"

namespace tool {

/// Adds --texts.
void addTextsFlag(CLI::App& command, bool& flag);

/// What the link's device tells of `points`, one each, in order. Where it does not, they are known as far as the
/// standard goes, and a line on standard error says so. Takes 30 s at most, less with Ctrl-C.
std::vector<PointFacts> askForTexts(const Options& options, const std::vector<plant::Point>& points);

/// The same for values that the link's helper brings: one that simulates has values of no device, and none is asked.
std::vector<PointFacts> askForTextsOfValues(const Options& options, const std::vector<plant::Point>& points);

}  // namespace tool
