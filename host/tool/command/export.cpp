#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "host/tool/command/commands.h"
#include "host/tool/console/error_relay.h"
#include "host/tool/link/project.h"
#include "plant/file.h"
#include "plant/point_table.h"

namespace tool {

namespace {

struct ExportOptions {
  std::string file;
  bool isForced = false;
};

constexpr const char* kStandardOutput = "-";

ExitStatus exportTable(const Options& options, COutput& output, const ExportOptions& own) {
  const std::vector<plant::Link> links = readLinks(options);
  std::string error;
  const std::string table = plant::toTable(links);
  if (own.file == kStandardOutput) {
    output.write(table);
    return ExitStatus::kWell;
  }
  const auto existing = own.isForced ? plant::Existing::kReplaced : plant::Existing::kRefused;
  switch (plant::writeFile(own.file, table, existing, error)) {
    case 0:
      break;
    case -1:
      throw CFailure(ExitStatus::kUsage, error, "name another one, or take --force");
    default:
      throw CFailure(ExitStatus::kInternal, error, "make room, or write it elsewhere");
  }
  std::size_t points = 0;
  for (const plant::Link& link : links) points += link.points.size();
  say(fmt::format("{}: {} points of {} links", own.file, points, links.size()));
  return ExitStatus::kWell;
}

}  // namespace

void addExport(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand("export", "write links and points as a table for a spreadsheet");
  const auto own = std::make_shared<ExportOptions>();
  command->add_option("file", own->file, "where to; - is standard output")->type_name("FILE")->required();
  command->add_flag("--force", own->isForced, "overwrite the file if it exists");
  setExample(*command, "hmi-host --project /opt/project export points.csv");
  command->callback([&action, own] {
    action.run = [own](const Options& options, COutput& output) { return exportTable(options, output, *own); };
  });
}

}  // namespace tool
