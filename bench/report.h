#pragma once

#include <cstdio>
#include <optional>
#include <string>

namespace bench {

/// The table of results, in Markdown, one line per comparison.
class CReport {
 public:
  /// `out` stays the caller's.
  explicit CReport(std::FILE* out);

  /// A candidate alone: its time with its unit, as text.
  void add(const std::string& candidate, const std::string& time);
  /// A candidate beside a peer; `limit` is the largest ratio that reaches the target, if there is one.
  void add(const std::string& candidate, const std::string& time, const std::string& peer, double ratio,
           std::optional<double> limit);

 private:
  void line(const std::string& candidate, const std::string& time, const std::string& peer, const std::string& ratio,
            const std::string& target, const std::string& reached);

  std::FILE* out_;
};

}  // namespace bench
