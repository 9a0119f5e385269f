#include <CLI/CLI.hpp>
#include <memory>

#include "host/tool/command/commands.h"
#include "host/tool/command/point_reader.h"
#include "host/tool/command/point_texts.h"
#include "host/tool/console/interrupt.h"
#include "host/tool/view/result_view.h"
#include "host/tool/view/text_view.h"

namespace tool {

namespace {

struct ReadOptions {
  PointChoice choice;
  int repeat = 1;
  bool isInWords = false;
};

ExitStatus readPoints(const Options& options, COutput& output, const ReadOptions& own) {
  CPointReader reader(options, own.choice);
  const auto facts = own.isInWords ? askForTextsOfValues(options, reader.points()) : std::vector<PointFacts>();
  if (isInterrupted()) return ExitStatus::kInterrupted;
  CRecordWriter writer(output, options.format, own.isInWords ? textColumns(options.format) : resultColumns());
  bool isGood = true;
  for (int round = 0; round < own.repeat; ++round) {
    const auto failure = failureOf([&] { reader.read(); });
    const auto results = reader.results();
    addTo(writer, results, facts);
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
  addTextsFlag(*command, own->isInWords);
  setExample(*command, "hmi-host --project /opt/project read SupplyAir.Temp 'Temp[3]' 12");
}

}  // namespace tool
