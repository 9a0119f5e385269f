#include <fmt/chrono.h>
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "bacnet/number/names.h"
#include "host/tool/command/commands.h"
#include "host/tool/console/error_relay.h"
#include "host/tool/link/project.h"
#include "plant/ede_writer.h"
#include "plant/file.h"
#include "plant/point_table.h"

namespace tool {

namespace {

struct ExportOptions {
  std::string file;
  bool isForced = false;
  bool isEde = false;
};

constexpr const char* kStandardOutput = "-";
constexpr const char* kEdeEnding = "_EDE.csv";
constexpr const char* kObjectTypesEnding = "_ObjTypes.csv";

void requireNew(const std::string& file) {
  std::error_code unknown;
  if (std::filesystem::exists(file, unknown))
    throw CFailure(ExitStatus::kUsage, file + ": there is such a file already", "name another one, or take --force");
}

void write(const std::string& file, const std::string& text, bool isForced) {
  std::string error;
  switch (plant::writeFile(file, text, isForced ? plant::Existing::kReplaced : plant::Existing::kRefused, error)) {
    case 0:
      return;
    case -1:
      throw CFailure(ExitStatus::kUsage, error, "name another one, or take --force");
    default:
      throw CFailure(ExitStatus::kInternal, error, "make room, or write it elsewhere");
  }
}

ExitStatus exportTable(const Options& options, COutput& output, const ExportOptions& own) {
  const std::vector<plant::Link> links = readLinks(options);
  const std::string table = plant::toTable(links);
  if (own.file == kStandardOutput) {
    output.write(table);
    return ExitStatus::kWell;
  }
  write(own.file, table, own.isForced);
  std::size_t points = 0;
  for (const plant::Link& link : links) points += link.points.size();
  say(fmt::format("{}: {} points of {} links", own.file, points, links.size()));
  return ExitStatus::kWell;
}

std::string typeName(std::int32_t type) {
  return std::string(bacnet::kObjectTypeNames.name(static_cast<std::uint32_t>(type)));
}

ExitStatus exportEde(const Options& options, const ExportOptions& own) {
  const std::size_t stem = own.file.size() - std::min(own.file.size(), std::string(kEdeEnding).size());
  if (own.file.substr(stem) != kEdeEnding)
    throw CFailure(ExitStatus::kUsage, fmt::format("'{}' is no name of an EDE list", own.file),
                   fmt::format("name it Building{}", kEdeEnding));
  const std::string name = own.file.substr(0, stem);
  const std::time_t now = std::time(nullptr);
  const plant::EdeHead head = {std::filesystem::path(name).filename().string(),
                               fmt::format("{:%Y-%m-%d}", fmt::localtime(now))};
  const plant::EdeText text = plant::toEde(readLinks(options), head, typeName);
  if (!own.isForced) requireNew(name + kObjectTypesEnding);  // both or none
  write(own.file, text.list, own.isForced);
  write(name + kObjectTypesEnding, text.objectTypes, own.isForced);
  say(fmt::format("{}: {} objects", own.file, text.objects));
  if (text.leftOut > 0)
    say(fmt::format("{} points are not in it: an EDE has an object's present value once, and nothing else",
                    text.leftOut));
  if (text.otherDataType > 0)
    say(fmt::format("{} points get another DataType when it is imported, that of their object type",
                    text.otherDataType));
  return ExitStatus::kWell;
}

}  // namespace

void addExport(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand("export", "write links and points as a table for a spreadsheet");
  const auto own = std::make_shared<ExportOptions>();
  command->add_option("file", own->file, "where to; - is standard output")->type_name("FILE")->required();
  command->add_flag("--force", own->isForced, "overwrite the file if it exists");
  command->add_flag("--ede", own->isEde, "objects as an EDE: NAME_EDE.csv, which FILE is, and NAME_ObjTypes.csv");
  setExample(*command, "hmi-host --project /opt/project export points.csv");
  command->callback([&action, own] {
    action.run = [own](const Options& options, COutput& output) {
      return own->isEde ? exportEde(options, *own) : exportTable(options, output, *own);
    };
  });
}

}  // namespace tool
