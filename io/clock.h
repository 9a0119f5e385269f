#pragma once

#include <chrono>

namespace io {

/// The monotonic clock that all waiting goes by; never set back, never read from the wall.
using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;
using Duration = Clock::duration;

}  // namespace io
