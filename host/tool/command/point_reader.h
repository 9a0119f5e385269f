#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "host/tool/command/point_choice.h"
#include "host/tool/link/batching.h"
#include "host/tool/link/results.h"
#include "host/tool/link/session.h"
#include "host/tool/link/statistics.h"
#include "host/tool/options.h"

namespace tool {

/// One read access per point, prepared by the driver.
std::vector<Access> prepareReads(CSession& session, const std::vector<plant::Point>& points);

/// The points of a choice on a session of their own, read round by round.
class CPointReader {
 public:
  /// Opens the session and prepares the points. Throws CFailure as those steps do.
  CPointReader(const Options& options, const PointChoice& choice);

  /// One round, in as few calls as the driver admits. Throws as CBatcher does; the results tell what came before.
  void read() { batcher_.read(accesses_); }
  /// What the last round brought, in the order of the points. Valid until the next round.
  std::vector<Result> results() const { return resultsOf(accesses_, readResult); }

  std::vector<plant::Point> points() const;
  const CStatistics& statistics() const { return statistics_; }
  std::uint32_t connects() const { return session_->connects(); }

 private:
  CPointReader(const Options& options, const std::vector<plant::Point>& points);

  std::unique_ptr<CSession> session_;
  std::vector<Access> accesses_;
  CStatistics statistics_;
  CBatcher batcher_;
};

}  // namespace tool
