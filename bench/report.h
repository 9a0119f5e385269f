#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "bench/rounds.h"

namespace bench {

/// The table of results, in Markdown, one line per comparison.
class CReport {
 public:
  /// `out` stays the caller's.
  explicit CReport(std::FILE* out);

  /// A candidate alone: its time with its unit, as text; or why there is none, under `remark`.
  void add(const std::string& candidate, const std::string& time, const std::string& remark = "");
  /// A candidate beside a peer; `limit` is the largest ratio that reaches the target, if there is one.
  void add(const std::string& candidate, const std::string& time, const std::string& peer, double ratio,
           std::optional<double> limit);
  /// The same for candidates of a measurement; beside several peers it is beside all of them together.
  void add(const CRounds& rounds, std::size_t candidate);
  void add(const CRounds& rounds, std::size_t candidate, const std::vector<std::size_t>& peers,
           std::optional<double> limit);

 private:
  void line(const std::string& candidate, const std::string& time, const std::string& peer, const std::string& ratio,
            const std::string& target, const std::string& reached);

  std::FILE* out_;
};

}  // namespace bench
