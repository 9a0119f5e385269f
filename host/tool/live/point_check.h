#pragma once

#include "host/tool/live/checked_link.h"
#include "host/tool/live/property_answers.h"

namespace tool {

/// What is expected of every point of a link.
struct Expectations {
  bool isNotified = false;          ///< the link subscribes to changes
  bool takesSubscriptions = false;  ///< and its device takes that
};

/// Asks for what the check of a point needs.
void wantForPoint(const plant::Point& point, const Expectations& expectations, CPropertyAnswers& answers);
/// Asks for what tells more of a point that was not read; to be called when the above has been answered.
void wantForFailure(const plant::Point& point, CPropertyAnswers& answers);

/// Compares a point with what its device has answered: the object, the property, the index, the data type, writing,
/// notifications. It judges as the helper reads.
CheckedPoint checkPoint(const plant::Point& point, const Expectations& expectations, const CPropertyAnswers& answers);

}  // namespace tool
