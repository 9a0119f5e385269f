#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

/// Measures one short slice of work. Result: microseconds per call.
using Slice = std::function<double()>;

/// A slice of `calls` calls, after a few that are not counted.
Slice sliceOf(int calls, std::function<void()> call);

/// Candidates measured in turns: every round runs a slice of each, starting with another one each time. Whatever
/// disturbs the machine falls on all of them alike, so ratios are formed within a round, and their median is taken.
class CRounds {
 public:
  /// Result: the candidate's number.
  std::size_t add(std::string name, Slice slice);
  void run(int rounds);

  const std::string& name(std::size_t candidate) const { return candidates_[candidate].name; }
  std::size_t size() const { return candidates_.size(); }
  /// Microseconds per call.
  double median(std::size_t candidate) const;
  /// Beside one peer, or all of several together.
  double medianRatio(std::size_t candidate, const std::vector<std::size_t>& peers) const;

 private:
  struct Candidate {
    std::string name;
    Slice slice;
    std::vector<double> samples;  // one per round
  };

  std::vector<Candidate> candidates_;
};

}  // namespace bench
