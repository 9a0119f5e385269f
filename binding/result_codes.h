#pragma once

#include <algorithm>
#include <cstdint>

namespace binding {

/// What the helper answers in element 1 of a reply; the driver hands it to the host unchanged. Only 0 and positive
/// numbers: the negative ones are the driver's own. The same table stands in docs/bus-protocol.md.
enum class ResultCode : std::int32_t {
  kDone = 0,
  kUnknownFunction = 1,   ///< no remote function of this name
  kMalformedRequest = 2,  ///< not a message, wrong number of elements, a text that is not the number it has to be
  kNoProject = 3,         ///< no project file has been loaded yet
  kProjectRefused = 4,    ///< the project file, or what the helper reads beside it, cannot be used
  kUnknownPoint = 5,      ///< the link has no point of this RegId
  kWrongSize = 6,         ///< the value size in bytes is not the point's
  kNotConnected = 7,      ///< func@bac_connect has not succeeded yet
  kValueRefused = 8,      ///< wrong number of words, or a value that the point's type does not hold

  kDeviceSilent = 20,    ///< no answer in time, or none to what was asked before
  kDeviceNotFound = 21,  ///< nobody says to be the device
  kNull = 22,            ///< the property has no value: an empty slot of a priority array
  kDoesNotFit = 23,      ///< the device's value is none of the point's data type
  kConfiguration = 24,   ///< the link's parameters cannot be used
  kFaultFlag = 25,       ///< the device says that the value is faulty
  kLocalNetwork = 26,    ///< a port or an interface of this machine cannot be used
  kUndecodable = 27,     ///< the device's answer cannot be decoded
  kReplyTooLong = 28,    ///< the reply would be longer than the driver takes
  kBacnetError = 1000,   ///< and the error's code
  kBacnetReject = 2000,  ///< and the reason of the reject
  kBacnetAbort = 3000,   ///< and the reason of the abort
};

/// One of the last three with the device's own number. What would run into the next hundred numbers' range, as a
/// maker's own error codes may, is given as the last of its own: 1999 for every error code from 999 on.
inline ResultCode withNumber(ResultCode base, std::uint32_t number) {
  constexpr std::uint32_t kMost = 999;
  return static_cast<ResultCode>(static_cast<std::int32_t>(base) + static_cast<std::int32_t>(std::min(number, kMost)));
}

}  // namespace binding
