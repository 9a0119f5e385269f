#pragma once

#include <memory>
#include <vector>

#include "host/tool/console/output.h"
#include "host/tool/link/results.h"
#include "host/tool/options.h"

namespace tool {

/// Shows the rounds of a watch.
class CWatchView {
 public:
  virtual ~CWatchView() = default;
  /// `results` are one round's, the same points in the same order each time.
  virtual void show(const std::vector<Result>& results) = 0;
  /// Lines of the driver's may have come in between; what stands on the terminal is left alone.
  virtual void startAfresh() {}
};

/// A line per point and round; with `isOnChange` only for points whose value or code differs from the last line.
std::unique_ptr<CWatchView> makeLineView(COutput& output, Format format, bool isOnChange);

/// A table on a terminal that is drawn over itself, with a trend line per point. What does not fit the terminal is cut.
std::unique_ptr<CWatchView> makeScreenView(COutput& output);

}  // namespace tool
