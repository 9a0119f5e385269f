#pragma once

#include <chrono>
#include <cstddef>
#include <vector>

namespace tool {

/// How long driver calls took. Minimum and count are of all calls; the percentiles are of the newest `kKept`, so that
/// a watch of weeks stays small.
class CStatistics {
 public:
  using Duration = std::chrono::nanoseconds;
  static constexpr std::size_t kKept = 100000;

  void add(Duration duration);

  std::size_t count() const { return count_; }
  /// Zero when nothing was added.
  Duration minimum() const { return minimum_; }
  /// The smallest duration that `percent` of the calls did not exceed; zero when nothing was added.
  Duration percentile(double percent) const;

 private:
  std::size_t count_ = 0;
  Duration minimum_{0};
  std::vector<Duration> newest_;  // a ring once it is full
};

}  // namespace tool
