#pragma once

namespace cbl {

inline constexpr const char* kLogicTag = "LOGIC ";  // the blank stands inside the line's brackets
inline constexpr const char* kErrorTag = "ERROR ";

/// Prints "[time][tag] ", the formatted message and a line feed on standard output; the time is local, "%H:%M:%S".
/// Takes no lock: lines of several threads may interleave.
[[gnu::format(printf, 2, 3)]] void logLine(const char* tag, const char* format, ...);

}  // namespace cbl
