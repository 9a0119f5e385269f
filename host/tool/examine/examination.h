#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/tool/examine/findings.h"
#include "host/tool/options.h"

namespace tool {

/// The names of the steps from the plug-in to the first read, in their order.
std::vector<std::string> stepNames();

/// Told of each step when it is done. Result: whether to go on with the next one.
using StepReport = std::function<bool(const std::string& step, const Finding& finding)>;

/// Examines the link of `options` step by step; a step that needs a failed one is skipped. What a step holds, a driver
/// of its own for one, is let go with the end of this call. Blocks for as long as the steps take: seconds each, where
/// something does not answer.
void examineLink(const Options& options, const StepReport& report);

}  // namespace tool
