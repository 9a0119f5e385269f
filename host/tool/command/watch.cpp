#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>

#include "host/tool/command/commands.h"
#include "host/tool/command/point_reader.h"
#include "host/tool/console/error_relay.h"
#include "host/tool/console/interrupt.h"
#include "host/tool/view/watch_view.h"

namespace tool {

namespace {

using std::chrono::steady_clock;

struct WatchOptions {
  PointChoice choice;
  int intervalMs = 1000;
  int count = 0;  // 0: without end
  bool isOnChange = false;
};

double milliseconds(CStatistics::Duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

void report(const Tally& tally, const CStatistics& statistics) {
  say(fmt::format("reads {}, failures {}, calls {}: min {:.3f} ms, median {:.3f} ms, p99 {:.3f} ms", tally.reads,
                  tally.failures, statistics.count(), milliseconds(statistics.minimum()),
                  milliseconds(statistics.percentile(50)), milliseconds(statistics.percentile(99))));
}

// A log of changes is a list on a terminal, too.
std::unique_ptr<CWatchView> makeView(COutput& output, Format format, const WatchOptions& own) {
  const bool isScreen = output.isTerminal() && format == Format::kTable && !own.isOnChange;
  return isScreen ? makeScreenView(output) : makeLineView(output, format, own.isOnChange);
}

// A helper that is gone is waited for: its points fail meanwhile.
class CWatch {
 public:
  CWatch(CPointReader& reader, CWatchView& view) : reader_(reader), view_(view) {}

  /// Result: false when an interrupt cut the round short; it is not counted then.
  bool readOnce() {
    const auto connects = reader_.connects();
    const auto failure = failureOf([&] { reader_.read(); });
    if (isInterrupted()) return false;
    if (failure && failure->status() != ExitStatus::kUnreachable) throw CFailure(*failure);
    if (failure && !isLost_) complain(failure->what());
    isLost_ = failure.has_value();
    if (failure || reader_.connects() != connects) view_.startAfresh();  // log lines stand below the table
    const auto results = reader_.results();
    tally_.add(results);
    view_.show(results);
    return true;
  }

  const Tally& tally() const { return tally_; }

 private:
  CPointReader& reader_;
  CWatchView& view_;
  Tally tally_;
  bool isLost_ = false;
};

ExitStatus watchPoints(const Options& options, COutput& output, const WatchOptions& own) {
  CPointReader reader(options, own.choice);
  const auto view = makeView(output, options.format, own);
  CWatch watch(reader, *view);

  const CInterruptNote note;
  const auto failure = failureOf([&] {
    auto next = steady_clock::now();
    for (int round = 0; own.count == 0 || round < own.count; ++round) {
      if (!note.waitUntil(next) || !watch.readOnce()) return;
      next = std::max(next + std::chrono::milliseconds(own.intervalMs), steady_clock::now());
    }
  });
  report(watch.tally(), reader.statistics());
  if (isInterrupted()) return ExitStatus::kInterrupted;
  if (failure) throw CFailure(*failure);
  return watch.tally().failures == 0 ? ExitStatus::kWell : ExitStatus::kPointsFailed;
}

}  // namespace

void addWatch(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand("watch", "read points again and again until Ctrl-C");
  const auto own = std::make_shared<WatchOptions>();
  addPointCommand(*command, action, own, watchPoints);
  command->add_option("--interval", own->intervalMs, "from round to round")
      ->type_name("MS")
      ->check(atLeastOne())
      ->capture_default_str();
  command->add_option("--count", own->count, "end after N rounds")->type_name("N")->check(atLeastOne());
  command->add_flag("--on-change", own->isOnChange, "a line only where value or code has changed");
  setExample(*command, "hmi-host --project /opt/project watch SupplyAir.Temp SupplyFan.Speed --interval 500");
}

}  // namespace tool
