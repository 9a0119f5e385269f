#include "host/tool/live/point_check.h"

#include <fmt/format.h>

#include <utility>

#include "bacnet/client/device_text.h"
#include "bacnet/number/failures.h"
#include "bacnet/number/names.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"
#include "binding/failure_codes.h"
#include "binding/point_plan.h"
#include "host/tool/link/result_codes.h"
#include "host/tool/live/type_fit.h"
#include "host/tool/live/writing.h"
#include "host/tool/network/commanded_object.h"
#include "host/tool/network/object_facts.h"

namespace tool {

namespace {

using bacnet::ObjectId;
using bacnet::PropertyReference;
using binding::PointPlan;
using binding::ResultCode;
namespace property = bacnet::property;
namespace object_type = bacnet::object_type;

const PropertyReference kIdentifier{property::kObjectIdentifier, {}};
const PropertyReference kFlags{property::kStatusFlags, {}};
const PropertyReference kIncrement{property::kCovIncrement, {}};

PropertyReference lengthOf(const PropertyReference& element) {
  return {element.property, 0};
}

std::string nameOf(const PropertyReference& reference) {
  const auto name = bacnet::kPropertyNames.name(reference.property);
  return name.empty() ? fmt::format("property {}", reference.property) : std::string(name);
}

const bacnet::Failure* errorIn(const bacnet::ReadOutcome* outcome) {
  const auto* failure = outcome ? std::get_if<bacnet::Failure>(outcome) : nullptr;
  return failure != nullptr && failure->kind == bacnet::Failure::Kind::kError ? failure : nullptr;
}

bool isError(const bacnet::ReadOutcome* outcome, std::uint32_t code) {
  const auto* failure = errorIn(outcome);
  return failure != nullptr && failure->error.errorCode == code;
}

Discrepancy error(const char* check, std::string problem, std::string remedy) {
  return {plant::Severity::kError, check, std::move(problem), std::move(remedy)};
}

Discrepancy indexProblem(const PointPlan& plan, bool isArray, const CPropertyAnswers& answers) {
  const auto& [object, reference] = plan.read;
  const std::string what = fmt::format("{} of {}", nameOf(reference), bacnet::objectText(object));
  if (!isArray)
    return error("index", fmt::format("{} is no array, and has no element {}", what, *reference.index),
                 "write the name without an index");
  const auto* length = answers.values(object, lengthOf(reference));
  const auto* count = length && length->size() == 1 ? std::get_if<std::uint64_t>(&length->front()) : nullptr;
  if (count == nullptr)
    return error("index", fmt::format("{} has no element {}", what, *reference.index), "write another index");
  return error("index", fmt::format("{} has {} elements, and none of index {}", what, *count, *reference.index),
               *count == 0 ? "remove the point" : fmt::format("write an index of 1 to {}", *count));
}

// Devices do not agree on which error says what: the object's identifier, which every object has, tells whether it is
// there.
Discrepancy failureProblem(const PointPlan& plan, const bacnet::Failure& failure, const CPropertyAnswers& answers) {
  const auto& [object, reference] = plan.read;
  const auto* outcome = answers.find(object, reference);
  const auto* identifier = answers.find(object, kIdentifier);
  if (isError(outcome, bacnet::error_code::kUnknownObject) || isError(identifier, bacnet::error_code::kUnknownObject))
    return error("object", fmt::format("the device has no {}", bacnet::objectText(object)),
                 "mend ObjectType and Instance; 'hmi-host objects' lists what it has");
  const bool isNoArray = isError(outcome, bacnet::error_code::kPropertyIsNotAnArray);
  if (reference.index && (isNoArray || isError(outcome, bacnet::error_code::kInvalidArrayIndex)))
    return indexProblem(plan, !isNoArray, answers);
  if (isError(outcome, bacnet::error_code::kUnknownProperty))
    return error("property", fmt::format("{} has no {}", bacnet::objectText(object), nameOf(reference)),
                 "mend PropID, or remove the point");
  return error("read", fmt::format("{} is not read: {}", nameOf(reference), bacnet::failureText(failure)),
               textOf(static_cast<std::int32_t>(binding::codeOf(failure))).remedy);
}

std::vector<std::string> flagsOf(const ObjectId& object, const CPropertyAnswers& answers) {
  std::vector<std::string> names;
  const auto* values = answers.values(object, kFlags);
  const auto* flags = values && values->size() == 1 ? std::get_if<bacnet::BitString>(&values->front()) : nullptr;
  if (flags == nullptr) return names;
  for (const bacnet::NumberName& each : bacnet::kStatusFlagNames) {
    if (each.number < flags->bits.size() && flags->bits[each.number]) names.emplace_back(each.name);
  }
  return names;
}

// As far as can be told without subscribing.
std::string changesOf(const ObjectId& object, const Expectations& expectations, const CPropertyAnswers& answers) {
  const bool isNotified = expectations.takesSubscriptions && answers.values(object, kFlags) != nullptr &&
                          (!isAnalog(object.type) || answers.values(object, kIncrement) != nullptr);
  return isNotified ? "notified" : "polled";
}

// Outputs are commanded in every device; of values the standard leaves it open.
bool mustBeCommandable(bacnet::ObjectType type) {
  return type == object_type::kAnalogOutput || type == object_type::kBinaryOutput ||
         type == object_type::kMultiStateOutput;
}

void checkWriting(const PointPlan& plan, const CPropertyAnswers& answers, CheckedPoint& checked) {
  const ObjectId& object = plan.write.object;
  checked.write = writingOf(plan, answers);
  const bool isCommand =
      plan.write.reference.property == property::kPresentValue && plan.writeRefused == ResultCode::kDone;
  if (!isCommand || checked.write == "commandable") return;
  if (plan.isRelease)
    checked.discrepancies.push_back(
        error("write", fmt::format("{} has no priority array: there is nothing to release", bacnet::objectText(object)),
              "remove the point, or its PriorityReset"));
  else if (mustBeCommandable(object.type))
    checked.discrepancies.push_back({plant::Severity::kWarning, "write",
                                     fmt::format("{} has no priority array, as outputs do", bacnet::objectText(object)),
                                     "try a write; priorities have no meaning there"});
}

}  // namespace

void wantForPoint(const plant::Point& point, const Expectations& expectations, CPropertyAnswers& answers) {
  const PointPlan plan = binding::planPoint(point, kOperatorPriority);
  if (plan.refused != ResultCode::kDone) return;
  const bool isText = point.type == plant::DataType::kString;
  answers.want(plan.read.object, plan.read.reference, isText ? kOctetsOfText : kOctetsOfNumber);
  wantForWriting(plan, answers);
  if (!plan.isPresentValue) return;
  answers.want(plan.read.object, kFlags, 3);
  if (expectations.isNotified && isAnalog(plan.read.object.type)) answers.want(plan.read.object, kIncrement, 5);
}

void wantForFailure(const plant::Point& point, CPropertyAnswers& answers) {
  const auto& [object, reference] = binding::planPoint(point, kOperatorPriority).read;
  const auto* outcome = answers.find(object, reference);
  if (errorIn(outcome) == nullptr || isError(outcome, bacnet::error_code::kUnknownObject)) return;
  answers.want(object, kIdentifier, 5);
  if (reference.index && isError(outcome, bacnet::error_code::kInvalidArrayIndex))
    answers.want(object, lengthOf(reference), 3);
}

CheckedPoint checkPoint(const plant::Point& point, const Expectations& expectations, const CPropertyAnswers& answers) {
  CheckedPoint checked;
  checked.point = point;
  const PointPlan plan = binding::planPoint(point, kOperatorPriority);
  if (plan.refused != ResultCode::kDone) {
    checked.code = static_cast<std::int32_t>(plan.refused);
    checked.discrepancies.push_back(error("object", "ObjectType, Instance or PropID is beyond what BACnet has",
                                          "mend it: 'hmi-host check' tells the range"));
    return checked;
  }
  const auto* outcome = answers.find(plan.read.object, plan.read.reference);
  if (outcome == nullptr) return checked;
  if (const auto* failure = std::get_if<bacnet::Failure>(outcome)) {
    checked.code = static_cast<std::int32_t>(binding::codeOf(*failure));
    checked.discrepancies.push_back(failureProblem(plan, *failure, answers));
    return checked;
  }
  TypeFit fit = fitOf(point, std::get<bacnet::Values>(*outcome));
  checked.code = fit.code;
  checked.value = std::move(fit.value);
  if (fit.discrepancy) checked.discrepancies.push_back(std::move(*fit.discrepancy));
  checkWriting(plan, answers, checked);
  if (!plan.isPresentValue) return checked;
  checked.flags = flagsOf(plan.read.object, answers);
  if (expectations.isNotified) checked.changes = changesOf(plan.read.object, expectations, answers);
  return checked;
}

}  // namespace tool
