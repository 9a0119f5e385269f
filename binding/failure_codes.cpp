#include "binding/failure_codes.h"

#include <fmt/format.h>

#include "bacnet/number/failures.h"
#include "bacnet/number/names.h"

namespace binding {

namespace {

using Kind = bacnet::Failure::Kind;

std::string named(const char* what, const bacnet::CNameTable& names, std::uint32_t number) {
  const std::string_view name = names.name(number);
  return name.empty() ? fmt::format("{} {}", what, number) : std::string(name);
}

}  // namespace

ResultCode codeOf(const bacnet::Failure& failure) {
  switch (failure.kind) {
    case Kind::kSilent:
      return ResultCode::kDeviceSilent;
    case Kind::kNotFound:
      return ResultCode::kDeviceNotFound;
    case Kind::kError:
      return withNumber(ResultCode::kBacnetError, failure.error.errorCode);
    case Kind::kReject:
      return withNumber(ResultCode::kBacnetReject, failure.reason);
    case Kind::kAbort:
      return withNumber(ResultCode::kBacnetAbort, failure.reason);
    case Kind::kUnreachable:
      return ResultCode::kLocalNetwork;
    case Kind::kUndecodable:
      return ResultCode::kUndecodable;
    case Kind::kTooLong:
      break;
  }
  return withNumber(ResultCode::kBacnetError,
                    bacnet::error_code::kAbortSegmentationNotSupported);  // as the device itself would say
}

std::string wordsOf(const bacnet::Failure& failure) {
  switch (failure.kind) {
    case Kind::kSilent:
      return "the device does not answer";
    case Kind::kNotFound:
      return "the device has not been found";
    case Kind::kError:
      return named("error", bacnet::kErrorCodeNames, failure.error.errorCode);
    case Kind::kReject:
      return "rejected: " + named("reason", bacnet::kRejectReasonNames, failure.reason);
    case Kind::kAbort:
      return "aborted: " + named("reason", bacnet::kAbortReasonNames, failure.reason);
    case Kind::kUnreachable:
      return "the network cannot reach the device";
    case Kind::kUndecodable:
      return "the answer cannot be decoded";
    case Kind::kTooLong:
      break;
  }
  return "too long for the device, which takes no segments";
}

}  // namespace binding
