#include "bench/report.h"

#include <fmt/format.h>

namespace bench {

CReport::CReport(std::FILE* out) : out_(out) {
  line("candidate", "median", "beside", "ratio", "target", "reached");
  line("---", "---:", "---", "---:", "---:", "---");
}

void CReport::add(const std::string& candidate, const std::string& time) {
  line(candidate, time, "", "", "", "");
}

void CReport::add(const std::string& candidate, const std::string& time, const std::string& peer, double ratio,
                  std::optional<double> limit) {
  const std::string target = limit ? fmt::format("<= {:.2f}", *limit) : "";
  line(candidate, time, peer, fmt::format("{:.2f}", ratio), target, !limit ? "" : ratio <= *limit ? "yes" : "NO");
}

void CReport::line(const std::string& candidate, const std::string& time, const std::string& peer,
                   const std::string& ratio, const std::string& target, const std::string& reached) {
  fmt::print(out_, "| {:<34} | {:>9} | {:<34} | {:>5} | {:>7} | {:<7} |\n", candidate, time, peer, ratio, target,
             reached);
  std::fflush(out_);
}

}  // namespace bench
