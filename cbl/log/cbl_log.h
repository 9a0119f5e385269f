#pragma once

#include <cstdint>

namespace cbl {

// Levels of `cblLog`. Level 2, and every level above 3, is normal output.
inline constexpr std::int32_t kLogSilent = 1;
inline constexpr std::int32_t kLogNormal = 2;
inline constexpr std::int32_t kLogError = 3;

/// The base library's own log. Level 1 or lower writes nothing; `kLogError` writes to standard error, with the text of
/// the current errno in the prefix; any other level writes to standard output. No line feed is added. Takes no lock.
[[gnu::format(printf, 2, 3)]] void cblLog(std::int32_t level, const char* format, ...);

}  // namespace cbl
