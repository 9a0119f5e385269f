#include "host/tool/live/writing.h"

#include <algorithm>
#include <iterator>

#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"
#include "binding/result_codes.h"

namespace tool {

namespace {

namespace property = bacnet::property;
namespace object_type = bacnet::object_type;

// The first element tells whether there is such an array.
const bacnet::PropertyReference kFirstSlot{property::kPriorityArray, 1};

constexpr bacnet::PropertyId kUsual[] = {
    property::kActiveText,    property::kCovIncrement, property::kDeadband,          property::kDescription,
    property::kEventEnable,   property::kHighLimit,    property::kInactiveText,      property::kLimitEnable,
    property::kLocation,      property::kLowLimit,     property::kNotificationClass, property::kNotifyType,
    property::kOutOfService,  property::kTimeDelay,    property::kRelinquishDefault, property::kStateText,
    property::kWeeklySchedule};

constexpr bacnet::PropertyId kReadOnly[] = {property::kAckedTransitions,
                                            property::kActiveCovSubscriptions,
                                            property::kApplicationSoftwareVersion,
                                            property::kDatabaseRevision,
                                            property::kEventState,
                                            property::kFirmwareRevision,
                                            property::kModelName,
                                            property::kMaxApduLengthAccepted,
                                            property::kObjectIdentifier,
                                            property::kObjectList,
                                            property::kObjectType,
                                            property::kPriorityArray,
                                            property::kPropertyList,
                                            property::kProtocolObjectTypesSupported,
                                            property::kProtocolServicesSupported,
                                            property::kProtocolRevision,
                                            property::kProtocolVersion,
                                            property::kSegmentationSupported,
                                            property::kStatusFlags,
                                            property::kSystemStatus,
                                            property::kVendorIdentifier,
                                            property::kVendorName,
                                            property::kCurrentCommandPriority};

constexpr bacnet::ObjectType kInputs[] = {object_type::kAnalogInput,     object_type::kBinaryInput,
                                          object_type::kMultiStateInput, object_type::kAccumulator,
                                          object_type::kPulseConverter,  object_type::kSchedule};

template <typename Number, std::size_t N>
bool isOneOf(const Number (&numbers)[N], Number number) {
  return std::find(std::begin(numbers), std::end(numbers), number) != std::end(numbers);
}

}  // namespace

void wantForWriting(const binding::PointPlan& plan, CPropertyAnswers& answers) {
  const bool isInput = isOneOf(kInputs, plan.write.object.type) && !plan.isRelease;
  if (plan.write.reference.property == property::kPresentValue && !isInput) answers.want(plan.write.object, kFirstSlot);
}

bool isCommandable(const bacnet::ObjectId& object, const CPropertyAnswers& answers) {
  return answers.values(object, kFirstSlot) != nullptr;
}

std::string writingOf(const binding::PointPlan& plan, const CPropertyAnswers& answers) {
  const auto& [object, reference] = plan.write;
  if (plan.writeRefused != binding::ResultCode::kDone) return "no";
  if (reference.property == property::kPresentValue) {
    if (isCommandable(object, answers)) return "commandable";
    return isOneOf(kInputs, object.type) ? "out of service" : "unknown";
  }
  if (reference.property == property::kReliability) return "out of service";
  if (isOneOf(kReadOnly, reference.property) || reference.index == 0U) return "no";
  return isOneOf(kUsual, reference.property) ? "usual" : "unknown";
}

}  // namespace tool
