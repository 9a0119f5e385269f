#include "binding/point_plan.h"

#include <algorithm>
#include <array>

#include "bacnet/number/failures.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/present_values.h"
#include "bacnet/number/properties.h"

namespace binding {

namespace {

using bacnet::ApplicationType;
namespace object_type = bacnet::object_type;
namespace property = bacnet::property;

constexpr std::int32_t kSlots = 16;        // of a priority array
constexpr std::int32_t kReservedSlot = 6;  // the device's own, for minimum on and off times

struct PropertyRow {
  bacnet::PropertyId property;
  ApplicationType tag;
};

// Properties that are of one type wherever they are.
constexpr std::array<PropertyRow, 18> kProperties = {{
    {property::kActiveText, ApplicationType::kCharacterString},
    {property::kApduSegmentTimeout, ApplicationType::kUnsigned},
    {property::kApduTimeout, ApplicationType::kUnsigned},
    {property::kNotificationClass, ApplicationType::kUnsigned},
    {property::kDescription, ApplicationType::kCharacterString},
    {property::kEventEnable, ApplicationType::kBitString},
    {property::kInactiveText, ApplicationType::kCharacterString},
    {property::kLimitEnable, ApplicationType::kBitString},
    {property::kLocation, ApplicationType::kCharacterString},
    {property::kNotifyType, ApplicationType::kEnumerated},
    {property::kNumberOfApduRetries, ApplicationType::kUnsigned},
    {property::kObjectName, ApplicationType::kCharacterString},
    {property::kOutOfService, ApplicationType::kBoolean},
    {property::kPolarity, ApplicationType::kEnumerated},
    {property::kReliability, ApplicationType::kEnumerated},
    {property::kStateText, ApplicationType::kCharacterString},
    {property::kTimeDelay, ApplicationType::kUnsigned},
    {property::kUnits, ApplicationType::kEnumerated},
}};

// A plain write of these goes to the operator's priority. Doors and lights have commands of their own for that.
bool isCommandable(bacnet::ObjectType object) {
  const bacnet::PresentValueMeaning* meaning = bacnet::presentValueOf(object);
  const bool isDoorOrLight = object == object_type::kAccessDoor || object == object_type::kLightingOutput ||
                             object == object_type::kBinaryLightingOutput;
  return meaning != nullptr && meaning->isCommandable && !isDoorOrLight;
}

// Nothing where it may be of any type, or is not one value.
std::optional<ApplicationType> presentValueTag(bacnet::ObjectType object) {
  const bacnet::PresentValueMeaning* meaning = bacnet::presentValueOf(object);
  return meaning == nullptr ? std::nullopt : bacnet::applicationTypeOf(meaning->type);
}

bool isNumbered(const plant::Point& point) {
  const auto isWithin = [](std::int32_t number, std::uint32_t largest) {
    return number >= 0 && static_cast<std::uint32_t>(number) <= largest;
  };
  constexpr std::uint32_t kLargestObjectType = 1023;
  return isWithin(point.objectType, kLargestObjectType) && isWithin(point.instance, bacnet::kLargestInstance) &&
         isWithin(point.propId, bacnet::kLargestInstance);
}

void planSlot(const plant::Point& point, PointPlan& plan) {
  plan.write.reference = {property::kPresentValue, std::nullopt};
  if (point.arrayIndex < 0) {
    plan.writeRefused = withNumber(ResultCode::kBacnetError,
                                   bacnet::error_code::kWriteAccessDenied);  // the array as a whole cannot be written
  } else if (point.arrayIndex == 0 || point.arrayIndex > kSlots || point.arrayIndex == kReservedSlot) {
    plan.writeRefused = ResultCode::kConfiguration;
  } else {
    plan.priority = static_cast<std::uint8_t>(point.arrayIndex);
  }
}

}  // namespace

PointPlan planPoint(const plant::Point& point, std::uint8_t defaultPriority) {
  PointPlan plan;
  if (!isNumbered(point)) plan.refused = ResultCode::kConfiguration;
  plan.write = plan.read = addressOf(point);
  plan.isRelease = point.priorityReset;

  if (point.propId == property::kPriorityArray) planSlot(point, plan);
  if (point.propId == property::kPresentValue) {
    plan.isPresentValue = point.arrayIndex < 0;
    if (plan.isRelease || isCommandable(plan.read.object.type)) plan.priority = defaultPriority;
  }
  return plan;
}

bacnet::PropertyAddress addressOf(const plant::Point& point) {
  const auto index =
      point.arrayIndex < 0 ? std::nullopt : std::optional(static_cast<bacnet::ArrayIndex>(point.arrayIndex));
  return {{static_cast<bacnet::ObjectType>(point.objectType), static_cast<std::uint32_t>(point.instance)},
          {static_cast<bacnet::PropertyId>(point.propId), index}};
}

std::optional<ApplicationType> writtenType(bacnet::ObjectType object, const bacnet::PropertyReference& reference) {
  using namespace bacnet::property;
  if (reference.index == 0U) return ApplicationType::kUnsigned;
  switch (reference.property) {
    case kPresentValue:
    case kRelinquishDefault:
    case kHighLimit:
    case kLowLimit:
    case kMaxPresValue:
    case kMinPresValue:
      return presentValueTag(object);
    case kCovIncrement:
    case kDeadband: {  // differences: of a signed value they are unsigned
      const auto value = presentValueTag(object);
      return value == ApplicationType::kSigned ? ApplicationType::kUnsigned : value;
    }
    default:
      break;
  }
  const auto row = std::find_if(kProperties.begin(), kProperties.end(),
                                [&](const PropertyRow& each) { return each.property == reference.property; });
  if (row == kProperties.end()) return std::nullopt;
  return row->tag;
}

}  // namespace binding
