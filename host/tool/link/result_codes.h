#pragma once

#include <cstdint>

namespace tool {

// What the driver answers by itself; every other number but 0 is the helper's.
inline constexpr std::int32_t kDone = 0;
inline constexpr std::int32_t kNoAnswer = -1;  ///< of a point; of `init` and `connect`: the helper is not there
inline constexpr std::int32_t kHandOffUnanswered = -99;  ///< of `init`: the project file was not taken

}  // namespace tool
