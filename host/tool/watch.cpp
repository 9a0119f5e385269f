#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>

#include "host/tool/batching.h"
#include "host/tool/commands.h"
#include "host/tool/interrupt.h"
#include "host/tool/point_choice.h"
#include "host/tool/project.h"
#include "host/tool/results.h"
#include "host/tool/watch_view.h"

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
  fmt::print(stderr, "reads {}, failures {}, calls {}: min {:.3f} ms, median {:.3f} ms, p99 {:.3f} ms\n", tally.reads,
             tally.failures, statistics.count(), milliseconds(statistics.minimum()),
             milliseconds(statistics.percentile(50)), milliseconds(statistics.percentile(99)));
}

// A log of changes is a list on a terminal, too.
std::unique_ptr<CWatchView> makeView(COutput& output, Format format, const WatchOptions& own) {
  const bool isScreen = output.isTerminal() && format == Format::kTable && !own.isOnChange;
  return isScreen ? makeScreenView(output) : makeLineView(output, format, own.isOnChange);
}

class CWatch {
 public:
  CWatch(CSession& session, COutput& output, Format format, const WatchOptions& own, std::vector<plant::Point> points)
      : session_(session), own_(own), points_(std::move(points)), view_(makeView(output, format, own)) {}

  // Until the count is reached or an interrupt.
  void run(const CInterruptNote& note) {
    accesses_ = prepareReads(session_, points_);
    auto next = steady_clock::now();
    for (int round = 0; own_.count == 0 || round < own_.count; ++round) {
      if (!note.waitUntil(next) || !readOnce()) return;
      next = std::max(next + std::chrono::milliseconds(own_.intervalMs), steady_clock::now());
    }
  }

  const Tally& tally() const { return tally_; }
  const CStatistics& statistics() const { return statistics_; }

 private:
  // Result: false when an interrupt cut the round short; it is not counted then.
  bool readOnce() {
    const auto connects = session_.connects();
    batcher_.read(accesses_);
    if (isInterrupted()) return false;
    if (session_.connects() != connects) view_->startAfresh();
    const auto results = resultsOf(points_, accesses_, readResult);
    tally_.add(results);
    view_->show(results);
    return true;
  }

  CSession& session_;
  const WatchOptions& own_;
  std::vector<plant::Point> points_;
  std::vector<Access> accesses_;
  std::unique_ptr<CWatchView> view_;
  Tally tally_;
  CStatistics statistics_;
  CBatcher batcher_{session_, statistics_};
};

ExitStatus watchPoints(const Options& options, COutput& output, const WatchOptions& own) {
  const plant::Link link = readPresentLink(options);
  std::vector<plant::Point> points = own.choice.pointsOf(link);
  const auto session = openSession(options);
  CWatch watch(*session, output, options.format, own, std::move(points));

  const CInterruptNote note;
  const auto failure = failureOf([&] { watch.run(note); });
  report(watch.tally(), watch.statistics());
  if (isInterrupted()) return ExitStatus::kInterrupted;
  if (failure) throw CFailure(*failure);
  return watch.tally().failures == 0 ? ExitStatus::kWell : ExitStatus::kPointsFailed;
}

}  // namespace

void addWatch(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand("watch", "read points again and again until Ctrl-C");
  const auto own = std::make_shared<WatchOptions>();
  own->choice.addTo(*command);
  command->add_option("--interval", own->intervalMs, "from round to round")
      ->type_name("MS")
      ->check(atLeastOne())
      ->capture_default_str();
  command->add_option("--count", own->count, "end after N rounds")->type_name("N")->check(atLeastOne());
  command->add_flag("--on-change", own->isOnChange, "a line only where value or code has changed");
  setExample(*command, "hmi-host --project /opt/project watch SupplyAir.Temp SupplyFan.Speed --interval 500");
  command->callback([&action, own] {
    own->choice.readFile();
    action = [own](const Options& options, COutput& output) { return watchPoints(options, output, *own); };
  });
}

}  // namespace tool
