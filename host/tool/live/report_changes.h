#pragma once

#include "host/tool/live/live_report.h"

namespace tool {

/// Says of each finding of `report` how it stands to an earlier one, in its field "change": new, changed or same; adds
/// those of then that are there no more (mended), and a finding for each link and point that was added, changed or
/// removed. What was not looked at this time, because its link was not asked for or its device is silent, is left out.
/// `coversAll`: `report` is of all links that the project has.
void compare(const LiveReport& before, bool coversAll, LiveReport& report);

}  // namespace tool
