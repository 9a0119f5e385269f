#pragma once

#include <string>

namespace bench {

/// Writes a project file of one link with the REAL points 1 to `points`, analog values; multiple reads and writes are
/// allowed. `device` is its address, and `more` further elements that the link has.
void writeProject(const std::string& path, int link, int points, const std::string& device = "127.0.0.1",
                  const std::string& more = "");

/// Seconds of processor time that the driver's link takes to load `path`, in a fresh process; freeing what was loaded
/// is not counted. Throws std::runtime_error unless exactly `points` points came of it.
double loadWithDriver(const std::string& path, int link, int points);

/// The same for the barest code that yields the same records: pugixml, a map, and a calloc for each value block.
double loadWithPugixml(const std::string& path, int points);

}  // namespace bench
