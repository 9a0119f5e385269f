#include "bench/rounds.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace bench {

namespace {

constexpr int kWarmUpCalls = 5;

double medianOf(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace

Slice sliceOf(int calls, std::function<void()> call) {
  return [calls, call = std::move(call)] {
    for (int i = 0; i < kWarmUpCalls; ++i) call();
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; ++i) call();
    const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - start;
    return taken.count() / calls;
  };
}

std::size_t CRounds::add(std::string name, Slice slice) {
  candidates_.push_back({std::move(name), std::move(slice), {}});
  return candidates_.size() - 1;
}

void CRounds::run(int rounds) {
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < candidates_.size(); ++i) {
      Candidate& next = candidates_[(i + static_cast<std::size_t>(round)) % candidates_.size()];
      next.samples.push_back(next.slice());
    }
  }
}

double CRounds::median(std::size_t candidate) const {
  return medianOf(candidates_[candidate].samples);
}

double CRounds::medianRatio(std::size_t candidate, const std::vector<std::size_t>& peers) const {
  std::vector<double> ratios;
  for (std::size_t round = 0; round < candidates_[candidate].samples.size(); ++round) {
    double together = 0;
    for (const std::size_t peer : peers) together += candidates_[peer].samples[round];
    ratios.push_back(candidates_[candidate].samples[round] / together);
  }
  return medianOf(std::move(ratios));
}

}  // namespace bench
