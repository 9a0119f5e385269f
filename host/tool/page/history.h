#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace tool {

/// What a point was from one round to another.
struct Sample {
  std::int64_t time = 0;  ///< ms since 1970, UTC
  double value = 0;       ///< NaN where there was none
  std::int32_t code = 0;
};

/// How many samples each of so many points may keep: all together take at most 64 MiB, one at most half a day of
/// seconds, and each has at least what a trend shows.
std::size_t samplesPerPoint(std::size_t points);

constexpr std::size_t kTrendSamples = 60;

/// The newest samples of one point. One that stays the same has two, when it began and when it was last seen, so that a
/// still point remembers longer than one that moves. Not thread-safe.
class CHistory {
 public:
  /// Keeps at most `limit` samples, at least 2.
  explicit CHistory(std::size_t limit) : limit_(limit) {}

  void add(const Sample& sample);
  /// The newest `count`, or fewer where there are no more; the oldest first.
  std::vector<Sample> newest(std::size_t count) const;
  std::vector<Sample> all() const { return newest(samples_.size()); }

 private:
  std::size_t limit_;
  std::deque<Sample> samples_;
};

}  // namespace tool
