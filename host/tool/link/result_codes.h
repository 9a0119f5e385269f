#pragma once

#include <cstdint>
#include <string>

namespace tool {

// What the driver answers by itself; every other number but 0 is the helper's. All are explained in docs/hmi-host.md.
inline constexpr std::int32_t kDone = 0;
inline constexpr std::int32_t kNoAnswer = -1;  ///< of a point; of `init` and `connect`: the helper is not there
inline constexpr std::int32_t kHandOffUnanswered = -99;  ///< of `init`: the project file was not taken

// Of the helper's those that a connect may mend.
inline constexpr std::int32_t kNoProject = 3;
inline constexpr std::int32_t kNotConnected = 7;

/// What a result code says, and what to do about it.
struct CodeText {
  std::string meaning;
  std::string remedy;
};

/// Of any code but 0.
CodeText textOf(std::int32_t code);

}  // namespace tool
