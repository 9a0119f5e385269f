#pragma once

#include <cstdint>

namespace bacnet {

/// The properties that programs here know by name; bacnet/number/names.h has all.
namespace property {
constexpr std::uint32_t kAckedTransitions = 0;
constexpr std::uint32_t kAction = 2;
constexpr std::uint32_t kActiveText = 4;
constexpr std::uint32_t kAll = 8;
constexpr std::uint32_t kApduSegmentTimeout = 10;
constexpr std::uint32_t kApduTimeout = 11;
constexpr std::uint32_t kApplicationSoftwareVersion = 12;
constexpr std::uint32_t kNotificationClass = 17;
constexpr std::uint32_t kCovIncrement = 22;
constexpr std::uint32_t kDaylightSavingsStatus = 24;
constexpr std::uint32_t kDeadband = 25;
constexpr std::uint32_t kDescription = 28;
constexpr std::uint32_t kDeviceAddressBinding = 30;
constexpr std::uint32_t kDeviceType = 31;
constexpr std::uint32_t kEventEnable = 35;
constexpr std::uint32_t kEventState = 36;
constexpr std::uint32_t kFeedbackValue = 40;
constexpr std::uint32_t kFirmwareRevision = 44;
constexpr std::uint32_t kHighLimit = 45;
constexpr std::uint32_t kInactiveText = 46;
constexpr std::uint32_t kLimitEnable = 52;
constexpr std::uint32_t kLocalDate = 56;
constexpr std::uint32_t kLocalTime = 57;
constexpr std::uint32_t kLocation = 58;
constexpr std::uint32_t kLowLimit = 59;
constexpr std::uint32_t kMaxApduLengthAccepted = 62;
constexpr std::uint32_t kMaxInfoFrames = 63;
constexpr std::uint32_t kMaxMaster = 64;
constexpr std::uint32_t kMaxPresValue = 65;
constexpr std::uint32_t kMinPresValue = 69;
constexpr std::uint32_t kModelName = 70;
constexpr std::uint32_t kNotifyType = 72;
constexpr std::uint32_t kNumberOfApduRetries = 73;
constexpr std::uint32_t kNumberOfStates = 74;
constexpr std::uint32_t kObjectIdentifier = 75;
constexpr std::uint32_t kObjectList = 76;
constexpr std::uint32_t kObjectName = 77;
constexpr std::uint32_t kObjectType = 79;
constexpr std::uint32_t kOptional = 80;
constexpr std::uint32_t kOutOfService = 81;
constexpr std::uint32_t kPolarity = 84;
constexpr std::uint32_t kPresentValue = 85;
constexpr std::uint32_t kPriorityArray = 87;
constexpr std::uint32_t kPriorityForWriting = 88;
constexpr std::uint32_t kProtocolObjectTypesSupported = 96;
constexpr std::uint32_t kProtocolServicesSupported = 97;
constexpr std::uint32_t kProtocolVersion = 98;
constexpr std::uint32_t kReliability = 103;
constexpr std::uint32_t kRelinquishDefault = 104;
constexpr std::uint32_t kRequired = 105;
constexpr std::uint32_t kResolution = 106;
constexpr std::uint32_t kSegmentationSupported = 107;
constexpr std::uint32_t kStateText = 110;
constexpr std::uint32_t kStatusFlags = 111;
constexpr std::uint32_t kSystemStatus = 112;
constexpr std::uint32_t kTimeDelay = 113;
constexpr std::uint32_t kUnits = 117;
constexpr std::uint32_t kUpdateInterval = 118;
constexpr std::uint32_t kUtcOffset = 119;
constexpr std::uint32_t kVendorIdentifier = 120;
constexpr std::uint32_t kVendorName = 121;
constexpr std::uint32_t kWeeklySchedule = 123;
constexpr std::uint32_t kProtocolRevision = 139;
constexpr std::uint32_t kActiveCovSubscriptions = 152;
constexpr std::uint32_t kDatabaseRevision = 155;
constexpr std::uint32_t kTrackingValue = 164;
constexpr std::uint32_t kMaxSegmentsAccepted = 167;
constexpr std::uint32_t kProfileName = 168;
constexpr std::uint32_t kBitText = 343;
constexpr std::uint32_t kPropertyList = 371;
constexpr std::uint32_t kSerialNumber = 372;
constexpr std::uint32_t kCommandTimeArray = 430;
constexpr std::uint32_t kCurrentCommandPriority = 431;
constexpr std::uint32_t kLastCommandTime = 432;
constexpr std::uint32_t kValueSource = 433;
constexpr std::uint32_t kValueSourceArray = 434;
constexpr std::uint32_t kTags = 486;
}  // namespace property

}  // namespace bacnet
