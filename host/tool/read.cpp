#include <CLI/CLI.hpp>
#include <memory>

#include "host/tool/batching.h"
#include "host/tool/commands.h"
#include "host/tool/point_choice.h"
#include "host/tool/project.h"
#include "host/tool/results.h"

namespace tool {

namespace {

struct ReadOptions {
  PointChoice choice;
  int repeat = 1;
};

ExitStatus readPoints(const Options& options, COutput& output, const ReadOptions& own) {
  const plant::Link link = readPresentLink(options);
  const std::vector<plant::Point> points = own.choice.pointsOf(link);
  const auto session = openSession(options);
  std::vector<Access> accesses = prepareReads(*session, points);

  CStatistics statistics;
  CBatcher batcher(*session, statistics);
  CRecordWriter writer(output, options.format, resultColumns());
  bool isGood = true;
  for (int round = 0; round < own.repeat; ++round) {
    const auto failure = failureOf([&] { batcher.read(accesses); });
    const auto results = resultsOf(points, accesses, readResult);
    addTo(writer, results);
    writer.flush();
    if (failure) throw CFailure(*failure);
    complainOf(results);
    isGood = isGood && areGood(results);
  }
  return isGood ? ExitStatus::kWell : ExitStatus::kPointsFailed;
}

}  // namespace

void addRead(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand("read", "read points, in batches where the link allows it");
  const auto own = std::make_shared<ReadOptions>();
  own->choice.addTo(*command);
  command->add_option("--repeat", own->repeat, "read N times")
      ->type_name("N")
      ->check(atLeastOne())
      ->capture_default_str();
  setExample(*command, "hmi-host --project /opt/project read SupplyAir.Temp 'Temp[3]' 12");
  command->callback([&action, own] {
    own->choice.readFile();
    action = [own](const Options& options, COutput& output) { return readPoints(options, output, *own); };
  });
}

}  // namespace tool
