#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/tool/console/records.h"
#include "host/tool/live/checked_link.h"

namespace tool {

/// What a check against the devices has found, in the records that are shown and kept.
// The JSON library promises nothing for its moves, which terminate where they fail, as they should.
struct LiveReport {  // NOLINT(bugprone-exception-escape)
  std::string project;
  std::string time;           ///< local, as 2026-11-22 01:30
  std::string since;          ///< the time of the report that it was compared with, if it was
  std::vector<Record> links;  ///< link, device, address, name, vendor, model, firmware, points, read, errors, warnings
  std::vector<Record> findings;  ///< change, severity, link, regId, where, check, line, problem, remedy
  std::vector<Record> points;    ///< link, regId, name, objectType, instance, property, dataType, status, code, value,
                                 ///< flags, write, changes

  std::size_t errors() const { return count("error"); }
  std::size_t warnings() const { return count("warning"); }

 private:
  std::size_t count(const char* severity) const;
};

/// A mistake in the project file itself.
Record recordOf(const plant::Problem& problem);

/// Adds a link with its findings and points.
void add(const CheckedLink& link, LiveReport& report);

}  // namespace tool
