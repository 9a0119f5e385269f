#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "host/tool/console/keyboard.h"
#include "host/tool/console/output.h"
#include "host/tool/link/results.h"
#include "host/tool/network/point_facts.h"
#include "host/tool/options.h"

namespace tool {

/// How a watch stands after a round.
struct WatchState {
  enum Helper { kAnswers, kSilent, kGone };
  Helper helper = kAnswers;
  Tally tally;  ///< of all rounds
};

/// Shows the rounds of a watch.
class CWatchView {
 public:
  virtual ~CWatchView() = default;
  /// `results` are one round's, the same points in the same order each time.
  virtual void show(const std::vector<Result>& results, const WatchState& state) = 0;
  /// Time has passed without a round.
  virtual void tick() {}
  virtual void press(Key /*key*/) {}
  /// Lines of the driver's may have come in between; what stands on the terminal is left alone.
  virtual void startAfresh() {}
};

struct ViewOptions {
  bool isOnChange = false;        ///< lines only for points whose value or code differs from the last line
  std::optional<int> precision;   ///< digits behind the point of a REAL or DOUBLE in a table
  std::vector<PointFacts> facts;  ///< one a result, which are then shown in words; or empty
};

/// A line per point and round.
std::unique_ptr<CWatchView> makeLineView(COutput& output, Format format, const ViewOptions& options);

/// A table on a terminal that is drawn over itself, with a trend line per point and the watch's state below it. What
/// does not fit the terminal is scrolled to.
std::unique_ptr<CWatchView> makeScreenView(COutput& output, const ViewOptions& options);

}  // namespace tool
