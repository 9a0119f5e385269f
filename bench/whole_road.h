#pragma once

#include <string>

#include "bench/report.h"

namespace bench {

/// One read over the whole road (plug-in, helper, UDP, bacnet-device), and one of a value that the device sends by
/// itself. `stacks` is the folder of the foreign client, empty where it could not be had.
void compareWholeRoad(CReport& report, const std::string& stacks);

/// All points of a device that is 100 ms away.
void compareScans(CReport& report);

/// What helpers take: until the first value, memory, processor time.
void measureHelpers(CReport& report);

}  // namespace bench
