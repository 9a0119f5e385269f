#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "plant/project.h"

namespace plant {

/// A BACnet object as a device or a file describes it.
struct ObjectRecord {
  std::int32_t objectType = 0;
  std::int32_t instance = 0;
  std::string name;            ///< what its points are to be called
  bool isCommandable = false;  ///< its present value is written at a priority
};

/// Which objects become points, and which points an object becomes.
struct PointFilter {
  std::set<std::int32_t> objectTypes;  ///< empty: all
  std::vector<std::string> names;      ///< globs, upper and lower case alike; empty: all
  bool withFlags = false;              ///< fault and out-of-service of the status flags, a BOOL each
  bool withRelease = false;            ///< a release button for each commandable object

  bool admits(const ObjectRecord& object) const;
};

/// "DataType" of the present value of such objects; nullptr when they have no present value that a register holds.
/// Types beyond the standard's are read as text, which everything can be.
const char* presentValueType(std::int32_t objectType);

/// Short name of an object: AI12, MSV3; types without one by number: 130-7.
std::string objectName(std::int32_t objectType, std::int32_t instance);

/// The points of an object, the present value first, without RegIds. None when it has no present value.
std::vector<Point> pointsOf(const ObjectRecord& object, const PointFilter& filter);

}  // namespace plant
