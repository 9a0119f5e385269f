#include <CLI/CLI.hpp>
#include <memory>

#include "host/tool/command/commands.h"
#include "host/tool/command/point_reader.h"
#include "host/tool/view/result_view.h"

namespace tool {

namespace {

struct ReadOptions {
  PointChoice choice;
  int repeat = 1;
};

ExitStatus readPoints(const Options& options, COutput& output, const ReadOptions& own) {
  CPointReader reader(options, own.choice);
  CRecordWriter writer(output, options.format, resultColumns());
  bool isGood = true;
  for (int round = 0; round < own.repeat; ++round) {
    const auto failure = failureOf([&] { reader.read(); });
    const auto results = reader.results();
    addTo(writer, results);
    writer.flush();
    if (failure) throw CFailure(*failure);
    complainOf(results, options);
    isGood = isGood && areGood(results);
  }
  return isGood ? ExitStatus::kWell : ExitStatus::kPointsFailed;
}

}  // namespace

void addRead(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand("read", "read points, in batches where the link allows it");
  const auto own = std::make_shared<ReadOptions>();
  addPointCommand(*command, action, own, readPoints);
  command->add_option("--repeat", own->repeat, "read N times")
      ->type_name("N")
      ->check(atLeastOne())
      ->capture_default_str();
  setExample(*command, "hmi-host --project /opt/project read SupplyAir.Temp 'Temp[3]' 12");
}

}  // namespace tool
