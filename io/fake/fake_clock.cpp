#include "io/fake/fake_clock.h"

#include <algorithm>

namespace io {

void CFakeClock::advance(Duration by) {
  runUntil([] { return false; }, by);
}

bool CFakeClock::runUntil(const std::function<bool()>& condition, Duration limit) {
  const TimePoint end = now_ + limit;
  while (!condition()) {
    const auto next = queue_.first();
    if (!next || *next > end) {
      now_ = end;
      return false;
    }
    now_ = std::max(now_, *next);
    queue_.runDue(now_, condition);
  }
  return true;
}

}  // namespace io
