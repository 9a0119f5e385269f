#pragma once

#include <string>

#include "binding/point_plan.h"
#include "host/tool/live/property_answers.h"

namespace tool {

/// Properties that tell whether a point can be written, beside itself. Nothing is written to find out.
void wantForWriting(const binding::PointPlan& plan, CPropertyAnswers& answers);

/// Whether the object has a priority array.
bool isCommandable(const bacnet::ObjectId& object, const CPropertyAnswers& answers);

/// What can be told of writing a point without doing it:
///   commandable        its object has a priority array
///   out of service     an input: while the object is out of service
///   usual              a property that devices let be written as a rule
///   no                 one that no device lets be written
///   unknown            only trying tells
std::string writingOf(const binding::PointPlan& plan, const CPropertyAnswers& answers);

}  // namespace tool
