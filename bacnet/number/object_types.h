#pragma once

#include <cstdint>

namespace bacnet {

/// The object types of the standard; from 128 on they are the makers' own.
namespace object_type {
constexpr std::uint16_t kAnalogInput = 0;
constexpr std::uint16_t kAnalogOutput = 1;
constexpr std::uint16_t kAnalogValue = 2;
constexpr std::uint16_t kBinaryInput = 3;
constexpr std::uint16_t kBinaryOutput = 4;
constexpr std::uint16_t kBinaryValue = 5;
constexpr std::uint16_t kCalendar = 6;
constexpr std::uint16_t kCommand = 7;
constexpr std::uint16_t kDevice = 8;
constexpr std::uint16_t kEventEnrollment = 9;
constexpr std::uint16_t kFile = 10;
constexpr std::uint16_t kGroup = 11;
constexpr std::uint16_t kLoop = 12;
constexpr std::uint16_t kMultiStateInput = 13;
constexpr std::uint16_t kMultiStateOutput = 14;
constexpr std::uint16_t kNotificationClass = 15;
constexpr std::uint16_t kProgram = 16;
constexpr std::uint16_t kSchedule = 17;
constexpr std::uint16_t kAveraging = 18;
constexpr std::uint16_t kMultiStateValue = 19;
constexpr std::uint16_t kTrendLog = 20;
constexpr std::uint16_t kLifeSafetyPoint = 21;
constexpr std::uint16_t kLifeSafetyZone = 22;
constexpr std::uint16_t kAccumulator = 23;
constexpr std::uint16_t kPulseConverter = 24;
constexpr std::uint16_t kEventLog = 25;
constexpr std::uint16_t kGlobalGroup = 26;
constexpr std::uint16_t kTrendLogMultiple = 27;
constexpr std::uint16_t kLoadControl = 28;
constexpr std::uint16_t kStructuredView = 29;
constexpr std::uint16_t kAccessDoor = 30;
constexpr std::uint16_t kTimer = 31;
constexpr std::uint16_t kAccessCredential = 32;
constexpr std::uint16_t kAccessPoint = 33;
constexpr std::uint16_t kAccessRights = 34;
constexpr std::uint16_t kAccessUser = 35;
constexpr std::uint16_t kAccessZone = 36;
constexpr std::uint16_t kCredentialDataInput = 37;
constexpr std::uint16_t kNetworkSecurity = 38;
constexpr std::uint16_t kBitstringValue = 39;
constexpr std::uint16_t kCharacterstringValue = 40;
constexpr std::uint16_t kDatePatternValue = 41;
constexpr std::uint16_t kDateValue = 42;
constexpr std::uint16_t kDatetimePatternValue = 43;
constexpr std::uint16_t kDatetimeValue = 44;
constexpr std::uint16_t kIntegerValue = 45;
constexpr std::uint16_t kLargeAnalogValue = 46;
constexpr std::uint16_t kOctetstringValue = 47;
constexpr std::uint16_t kPositiveIntegerValue = 48;
constexpr std::uint16_t kTimePatternValue = 49;
constexpr std::uint16_t kTimeValue = 50;
constexpr std::uint16_t kNotificationForwarder = 51;
constexpr std::uint16_t kAlertEnrollment = 52;
constexpr std::uint16_t kChannel = 53;
constexpr std::uint16_t kLightingOutput = 54;
constexpr std::uint16_t kBinaryLightingOutput = 55;
constexpr std::uint16_t kNetworkPort = 56;
constexpr std::uint16_t kElevatorGroup = 57;
constexpr std::uint16_t kEscalator = 58;
constexpr std::uint16_t kLift = 59;
constexpr std::uint16_t kStaging = 60;
constexpr std::uint16_t kAuditLog = 61;
constexpr std::uint16_t kAuditReporter = 62;
constexpr std::uint16_t kColor = 63;
constexpr std::uint16_t kColorTemperature = 64;
}  // namespace object_type

}  // namespace bacnet
