#pragma once

#include <cstdint>

namespace bacnet {

/// Classes and codes of errors that programs here know by name; bacnet/number/names.h has all.
namespace error_class {
constexpr std::uint32_t kDevice = 0;
constexpr std::uint32_t kObject = 1;
constexpr std::uint32_t kProperty = 2;
constexpr std::uint32_t kResources = 3;
constexpr std::uint32_t kSecurity = 4;
constexpr std::uint32_t kServices = 5;
constexpr std::uint32_t kVt = 6;
constexpr std::uint32_t kCommunication = 7;
}  // namespace error_class

namespace error_code {
constexpr std::uint32_t kOther = 0;
constexpr std::uint32_t kConfigurationInProgress = 2;
constexpr std::uint32_t kDeviceBusy = 3;
constexpr std::uint32_t kInconsistentParameters = 7;
constexpr std::uint32_t kInvalidDataType = 9;
constexpr std::uint32_t kMissingRequiredParameter = 16;
constexpr std::uint32_t kNoSpaceForObject = 18;
constexpr std::uint32_t kNoSpaceToAddListElement = 19;
constexpr std::uint32_t kNoSpaceToWriteProperty = 20;
constexpr std::uint32_t kOperationalProblem = 25;
constexpr std::uint32_t kReadAccessDenied = 27;
constexpr std::uint32_t kServiceRequestDenied = 29;
constexpr std::uint32_t kTimeout = 30;
constexpr std::uint32_t kUnknownObject = 31;
constexpr std::uint32_t kUnknownProperty = 32;
constexpr std::uint32_t kValueOutOfRange = 37;
constexpr std::uint32_t kWriteAccessDenied = 40;
constexpr std::uint32_t kCharacterSetNotSupported = 41;
constexpr std::uint32_t kInvalidArrayIndex = 42;
constexpr std::uint32_t kCovSubscriptionFailed = 43;
constexpr std::uint32_t kNotCovProperty = 44;
constexpr std::uint32_t kOptionalFunctionalityNotSupported = 45;
constexpr std::uint32_t kDatatypeNotSupported = 47;
constexpr std::uint32_t kPropertyIsNotAnArray = 50;
constexpr std::uint32_t kAbortBufferOverflow = 51;
constexpr std::uint32_t kAbortSegmentationNotSupported = 54;
constexpr std::uint32_t kInvalidTag = 57;
constexpr std::uint32_t kNetworkDown = 58;
constexpr std::uint32_t kRejectUnrecognizedService = 67;
constexpr std::uint32_t kUnknownDevice = 70;
constexpr std::uint32_t kValueNotInitialized = 72;
constexpr std::uint32_t kUnknownSubscription = 79;
constexpr std::uint32_t kParameterOutOfRange = 80;
constexpr std::uint32_t kBusy = 82;
constexpr std::uint32_t kCommunicationDisabled = 83;
constexpr std::uint32_t kAbortApduTooLong = 123;
constexpr std::uint32_t kOutOfMemory = 133;
constexpr std::uint32_t kValueTooLong = 134;
}  // namespace error_code

namespace reject_reason {
constexpr std::uint8_t kOther = 0;
constexpr std::uint8_t kBufferOverflow = 1;
constexpr std::uint8_t kInconsistentParameters = 2;
constexpr std::uint8_t kInvalidParameterDataType = 3;
constexpr std::uint8_t kInvalidTag = 4;
constexpr std::uint8_t kMissingRequiredParameter = 5;
constexpr std::uint8_t kParameterOutOfRange = 6;
constexpr std::uint8_t kTooManyArguments = 7;
constexpr std::uint8_t kUndefinedEnumeration = 8;
constexpr std::uint8_t kUnrecognizedService = 9;
}  // namespace reject_reason

namespace abort_reason {
constexpr std::uint8_t kOther = 0;
constexpr std::uint8_t kBufferOverflow = 1;
constexpr std::uint8_t kInvalidApduInThisState = 2;
constexpr std::uint8_t kPreemptedByHigherPriorityTask = 3;
constexpr std::uint8_t kSegmentationNotSupported = 4;
constexpr std::uint8_t kSecurityError = 5;
constexpr std::uint8_t kInsufficientSecurity = 6;
constexpr std::uint8_t kWindowSizeOutOfRange = 7;
constexpr std::uint8_t kApplicationExceededReplyTime = 8;
constexpr std::uint8_t kOutOfResources = 9;
constexpr std::uint8_t kTsmTimeout = 10;
constexpr std::uint8_t kApduTooLong = 11;
}  // namespace abort_reason

}  // namespace bacnet
