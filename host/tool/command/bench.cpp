#include <CLI/CLI.hpp>
#include <charconv>
#include <chrono>
#include <cmath>
#include <memory>

#include "host/tool/command/commands.h"
#include "host/tool/command/point_reader.h"
#include "host/tool/console/interrupt.h"

namespace tool {

namespace {

using Seconds = std::chrono::duration<double>;
using Microseconds = std::chrono::duration<double, std::micro>;

struct BenchOptions {
  PointChoice choice;
  double seconds = 3;
};

std::string checkSeconds(const std::string& text) {
  double seconds = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, failure] = std::from_chars(text.data(), end, seconds);
  const bool fits = failure == std::errc() && stop == end && seconds >= 0.01 && seconds <= 86400;
  return fits ? "" : text + " is no number from 0.01 to 86400";
}

double microseconds(CStatistics::Duration duration) {
  return std::round(Microseconds(duration).count() * 10) / 10;
}

Record recordOf(const Tally& tally, const CStatistics& statistics, Seconds elapsed) {
  Record record;
  record["seconds"] = std::round(elapsed.count() * 1000) / 1000;
  record["reads"] = tally.reads;
  record["failures"] = tally.failures;
  record["calls"] = statistics.count();
  record["callsPerSecond"] = std::lround(static_cast<double>(statistics.count()) / elapsed.count());
  record["minUs"] = microseconds(statistics.minimum());
  record["medianUs"] = microseconds(statistics.percentile(50));
  record["p99Us"] = microseconds(statistics.percentile(99));
  return record;
}

ExitStatus measure(const Options& options, COutput& output, const BenchOptions& own) {
  CPointReader reader(options, own.choice);
  Tally tally;
  const CInterruptNote note;
  const auto start = std::chrono::steady_clock::now();
  Seconds elapsed{0};
  while (elapsed.count() < own.seconds && !isInterrupted()) {
    reader.read();
    if (!isInterrupted()) tally.add(reader.results());
    elapsed = std::chrono::steady_clock::now() - start;
  }

  writeSingle(output, options.format, recordOf(tally, reader.statistics(), elapsed));
  if (isInterrupted()) return ExitStatus::kInterrupted;
  return tally.failures == 0 ? ExitStatus::kWell : ExitStatus::kPointsFailed;
}

}  // namespace

void addBench(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand("bench", "read as fast as the helper answers, and time each call");
  const auto own = std::make_shared<BenchOptions>();
  addPointCommand(*command, action, own, measure);
  command->add_option("--seconds", own->seconds, "how long, 0.01 to 86400")
      ->type_name("S")
      ->check(CLI::Validator(checkSeconds, ""))
      ->capture_default_str();
  setExample(*command, "hmi-host --project /opt/project bench SupplyAir.Temp --seconds 5");
}

}  // namespace tool
