#include "bacnet/number/value_names.h"

#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"

namespace bacnet {

namespace {

bool isBinary(std::uint16_t objectType) {
  return objectType == object_type::kBinaryInput || objectType == object_type::kBinaryOutput ||
         objectType == object_type::kBinaryValue;
}

bool isLifeSafety(std::uint16_t objectType) {
  return objectType == object_type::kLifeSafetyPoint || objectType == object_type::kLifeSafetyZone;
}

}  // namespace

const CNameTable* enumerationOf(std::uint16_t objectType, std::uint32_t property) {
  if (isState(property) && isBinary(objectType)) return &kBinaryStateNames;
  switch (property) {
    case property::kPresentValue:
    case property::kTrackingValue:
      return isLifeSafety(objectType) ? &kLifeSafetyStateNames : nullptr;
    case property::kAction:
      return &kActionNames;
    case property::kEventState:
      return &kEventStateNames;
    case property::kNotifyType:
      return &kNotifyTypeNames;
    case property::kObjectType:
      return &kObjectTypeNames;
    case property::kPolarity:
      return &kPolarityNames;
    case property::kReliability:
      return &kReliabilityNames;
    case property::kSegmentationSupported:
      return &kSegmentationNames;
    case property::kSystemStatus:
      return &kDeviceStatusNames;
    case property::kUnits:
      return &kUnitNames;
    default:
      return nullptr;
  }
}

const CNameTable* bitsOf(std::uint32_t property) {
  switch (property) {
    case property::kStatusFlags:
      return &kStatusFlagNames;
    case property::kLimitEnable:
      return &kLimitNames;
    case property::kAckedTransitions:
    case property::kEventEnable:
      return &kTransitionNames;
    default:
      return nullptr;
  }
}

bool isInItsUnits(std::uint32_t property) {
  switch (property) {
    case property::kPresentValue:
    case property::kPriorityArray:
    case property::kRelinquishDefault:
    case property::kCovIncrement:
    case property::kDeadband:
    case property::kHighLimit:
    case property::kLowLimit:
    case property::kMaxPresValue:
    case property::kMinPresValue:
    case property::kResolution:
      return true;
    default:
      return false;
  }
}

bool isState(std::uint32_t property) {
  return property == property::kPresentValue || property == property::kPriorityArray ||
         property == property::kRelinquishDefault || property == property::kFeedbackValue;
}

}  // namespace bacnet
