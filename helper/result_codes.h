#pragma once

#include <cstdint>

namespace helper {

/// What the helper answers in element 1 of a reply; the driver hands it to the host unchanged. Only 0 and positive
/// numbers: the negative ones are the driver's own. The same table stands in docs/bus-protocol.md.
enum class ResultCode : std::int32_t {
  kDone = 0,
  kUnknownFunction = 1,   ///< no remote function of this name
  kMalformedRequest = 2,  ///< not a message, wrong number of elements, a text that is not the number it has to be
  kNoProject = 3,         ///< no project file has been loaded yet
  kProjectRefused = 4,    ///< the project file or the simulator.json beside it cannot be used
  kUnknownPoint = 5,      ///< the link has no point of this RegId
  kWrongSize = 6,         ///< the value size in bytes is not the point's
  kNotConnected = 7,      ///< func@bac_connect has not succeeded yet
  kValueRefused = 8,      ///< wrong number of words, or a value that the point's type does not hold
};

}  // namespace helper
