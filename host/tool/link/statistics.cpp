#include "host/tool/link/statistics.h"

#include <algorithm>
#include <cmath>

namespace tool {

void CStatistics::add(Duration duration) {
  minimum_ = count_ == 0 ? duration : std::min(minimum_, duration);
  if (newest_.size() < kKept)
    newest_.push_back(duration);
  else
    newest_[count_ % kKept] = duration;
  ++count_;
}

CStatistics::Duration CStatistics::percentile(double percent) const {
  if (newest_.empty()) return Duration(0);
  std::vector<Duration> sorted = newest_;
  const auto rank = static_cast<std::size_t>(std::ceil(percent / 100 * static_cast<double>(sorted.size())));
  const auto place = sorted.begin() + static_cast<std::ptrdiff_t>(std::max<std::size_t>(rank, 1) - 1);
  std::nth_element(sorted.begin(), place, sorted.end());
  return *place;
}

}  // namespace tool
