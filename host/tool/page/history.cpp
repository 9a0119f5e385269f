#include "host/tool/page/history.h"

#include <algorithm>
#include <cmath>

namespace tool {

namespace {

constexpr std::size_t kMostBytes = std::size_t{64} << 20U;
constexpr std::size_t kMostSamples = 43200;

bool isSame(const Sample& a, const Sample& b) {
  const bool haveNone = std::isnan(a.value) && std::isnan(b.value);
  return a.code == b.code && (haveNone || a.value == b.value);
}

}  // namespace

std::size_t samplesPerPoint(std::size_t points) {
  const std::size_t share = kMostBytes / sizeof(Sample) / std::max<std::size_t>(points, 1);
  return std::clamp(share, kTrendSamples, kMostSamples);
}

void CHistory::add(const Sample& sample) {
  const std::size_t count = samples_.size();
  if (count >= 2 && isSame(samples_[count - 2], samples_.back()) && isSame(samples_.back(), sample)) {
    samples_.back().time = sample.time;
    return;
  }
  samples_.push_back(sample);
  if (samples_.size() > limit_) samples_.pop_front();
}

std::vector<Sample> CHistory::newest(std::size_t count) const {
  const auto length = static_cast<std::ptrdiff_t>(std::min(count, samples_.size()));
  return {samples_.end() - length, samples_.end()};
}

}  // namespace tool
