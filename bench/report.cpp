#include "bench/report.h"

#include <fmt/format.h>

#include <algorithm>

namespace bench {

namespace {

std::string medianOf(const CRounds& rounds, std::size_t candidate) {
  return fmt::format("{:.2f} µs", rounds.median(candidate));
}

}  // namespace

CReport::CReport(std::FILE* out) : out_(out) {
  line("candidate", "median", "beside", "ratio", "target", "reached");
  line("---", "---:", "---", "---:", "---:", "---");
}

void CReport::add(const std::string& candidate, const std::string& time, const std::string& remark) {
  line(candidate, time, remark, "", "", "");
}

void CReport::add(const std::string& candidate, const std::string& time, const std::string& peer, double ratio,
                  std::optional<double> limit) {
  const std::string target = limit ? fmt::format("<= {:.2f}", *limit) : "";
  line(candidate, time, peer, fmt::format("{:.2f}", ratio), target, !limit ? "" : ratio <= *limit ? "yes" : "NO");
}

void CReport::add(const CRounds& rounds, std::size_t candidate) {
  add(rounds.name(candidate), medianOf(rounds, candidate));
}

void CReport::add(const CRounds& rounds, std::size_t candidate, const std::vector<std::size_t>& peers,
                  std::optional<double> limit) {
  std::string together;
  for (std::size_t i = 0; i < peers.size(); ++i) {
    if (i > 0 && peers[i] == peers[i - 1]) continue;
    const auto times = std::count(peers.begin(), peers.end(), peers[i]);
    together +=
        fmt::format("{}{}{}", i > 0 ? " + " : "", times > 1 ? fmt::format("{} x ", times) : "", rounds.name(peers[i]));
  }
  add(rounds.name(candidate), medianOf(rounds, candidate), together, rounds.medianRatio(candidate, peers), limit);
}

void CReport::line(const std::string& candidate, const std::string& time, const std::string& peer,
                   const std::string& ratio, const std::string& target, const std::string& reached) {
  fmt::print(out_, "| {:<34} | {:>9} | {:<34} | {:>5} | {:>7} | {:<7} |\n", candidate, time, peer, ratio, target,
             reached);
  std::fflush(out_);
}

}  // namespace bench
