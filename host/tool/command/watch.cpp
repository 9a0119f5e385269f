#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <memory>
#include <vector>

#include "host/tool/command/commands.h"
#include "host/tool/command/point_reader.h"
#include "host/tool/command/point_texts.h"
#include "host/tool/console/error_relay.h"
#include "host/tool/console/interrupt.h"
#include "host/tool/console/keyboard.h"
#include "host/tool/view/watch_view.h"

namespace tool {

namespace {

using std::chrono::steady_clock;

struct WatchOptions {
  PointChoice choice;
  int intervalMs = 1000;
  int count = 0;  // 0: without end
  bool isInWords = false;
  ViewOptions view;
};

constexpr std::chrono::seconds kTick{1};  // how often what ages is shown anew

double milliseconds(CStatistics::Duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

void report(const Tally& tally, const CStatistics& statistics) {
  say(fmt::format("reads {}, failures {}, calls {}: min {:.3f} ms, median {:.3f} ms, p99 {:.3f} ms", tally.reads,
                  tally.failures, statistics.count(), milliseconds(statistics.minimum()),
                  milliseconds(statistics.percentile(50)), milliseconds(statistics.percentile(99))));
}

// A log of changes is a list on a terminal, too.
bool isScreen(const COutput& output, Format format, const WatchOptions& own) {
  return output.isTerminal() && format == Format::kTable && !own.view.isOnChange;
}

bool areSilent(const std::vector<Result>& results) {
  return std::all_of(results.begin(), results.end(),
                     [](const Result& result) { return result.access.code == kNoAnswer; });
}

// A helper that is gone is waited for: its points fail meanwhile.
class CWatch {
 public:
  CWatch(CPointReader& reader, CWatchView& view, CKeyboard* keyboard)
      : reader_(reader), view_(view), keyboard_(keyboard) {}

  void run(const WatchOptions& own) {
    auto next = steady_clock::now();
    for (int round = 0; own.count == 0 || round < own.count; ++round) {
      if (!waitUntil(next) || !readOnce()) return;
      next = std::max(next + std::chrono::milliseconds(own.intervalMs), steady_clock::now());
    }
  }

  const Tally& tally() const { return state_.tally; }

 private:
  // Result: false when the watch is to end.
  bool waitUntil(steady_clock::time_point time) {
    for (;;) {
      const auto tick = std::min(time, steady_clock::now() + kTick);
      switch (note_.waitUntil(tick, keyboard_ == nullptr ? -1 : keyboard_->descriptor())) {
        case CInterruptNote::Event::kInterrupt:
          return false;
        case CInterruptNote::Event::kInput:
          if (!obeyKeys()) return false;
          break;
        case CInterruptNote::Event::kTime:
          if (tick == time) return true;
          view_.tick();
      }
    }
  }

  bool obeyKeys() {
    for (const Key key : keyboard_->read()) {
      if (key == Key::kQuit) return false;
      view_.press(key);
    }
    return true;
  }

  // Result: false when an interrupt cut the round short; it is not counted then.
  bool readOnce() {
    const auto connects = reader_.connects();
    const auto failure = failureOf([&] { reader_.read(); });
    if (isInterrupted()) return false;
    if (failure && failure->status() != ExitStatus::kUnreachable) throw CFailure(*failure);
    if (failure && state_.helper != WatchState::kGone) complain(failure->what());
    if (failure || reader_.connects() != connects) view_.startAfresh();  // log lines stand below the table
    const auto results = reader_.results();
    state_.helper = failure ? WatchState::kGone : areSilent(results) ? WatchState::kSilent : WatchState::kAnswers;
    state_.tally.add(results);
    view_.show(results, state_);
    return true;
  }

  CPointReader& reader_;
  CWatchView& view_;
  CKeyboard* keyboard_;
  CInterruptNote note_;
  WatchState state_;
};

ExitStatus watchPoints(const Options& options, COutput& output, const WatchOptions& own) {
  CPointReader reader(options, own.choice);
  ViewOptions shown = own.view;
  if (own.isInWords) shown.facts = askForTextsOfValues(options, reader.points());
  if (isInterrupted()) return ExitStatus::kInterrupted;
  const bool hasScreen = isScreen(output, options.format, own);
  const auto view = hasScreen ? makeScreenView(output, shown) : makeLineView(output, options.format, shown);
  const auto keyboard = hasScreen ? std::make_unique<CKeyboard>() : nullptr;
  CWatch watch(reader, *view, keyboard.get());

  const auto failure = failureOf([&] { watch.run(own); });
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
  command->add_flag("--on-change", own->view.isOnChange, "a line only where value or code has changed");
  command->add_option("--precision", own->view.precision, "digits behind the point of REAL and DOUBLE in a table")
      ->type_name("N")
      ->check(CLI::Range(0, 17).description(""));
  addTextsFlag(*command, own->isInWords);
  setExample(*command, "hmi-host --project /opt/project watch SupplyAir.Temp SupplyFan.Speed --interval 500");
}

}  // namespace tool
