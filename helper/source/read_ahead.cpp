#include "helper/source/read_ahead.h"

#include <algorithm>
#include <utility>

namespace helper {

void CReadAhead::learn(std::size_t asked) {
  if (longestAge_ == io::Duration::zero()) return;
  if (last_ && *last_ != asked) {
    Next& next = next_[*last_];
    next.isConfirmed = next.point == asked;
    next.point = asked;
  }
  last_ = asked;
}

std::vector<std::size_t> CReadAhead::expected(std::size_t last, std::size_t most, io::TimePoint now) const {
  std::vector<std::size_t> points;
  for (std::size_t at = last; points.size() < most && next_[at].isConfirmed; at = points.back()) {
    const std::size_t point = *next_[at].point;
    // Where the order comes round, or meets what is held, everything behind has been seen to.
    const bool isKnown = point == last || std::find(points.begin(), points.end(), point) != points.end();
    if (isKnown || isGood(held_[point], now)) break;
    points.push_back(point);
  }
  return points;
}

std::optional<bacnet::Values> CReadAhead::take(std::size_t point, io::TimePoint now) {
  const auto held = std::exchange(held_[point], std::nullopt);
  if (!isGood(held, now)) return std::nullopt;
  return held->values;
}

void CReadAhead::hold(std::size_t point, bacnet::Values values, io::TimePoint now, unsigned season) {
  if (season == season_) held_[point] = {std::move(values), now};
}

void CReadAhead::dropAll() {
  ++season_;
  for (auto& each : held_) each.reset();
}

}  // namespace helper
