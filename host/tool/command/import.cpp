#include "plant/import.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/tool/command/commands.h"
#include "host/tool/command/type_option.h"
#include "host/tool/console/error_relay.h"
#include "host/tool/console/records.h"
#include "host/tool/link/project.h"
#include "plant/file.h"
#include "plant/point_table.h"

namespace tool {

namespace {

using plant::ImportedLine;
using Kind = ImportedLine::Kind;

const std::map<std::string, plant::NameSource> kNameSources = {{"keyname", plant::NameSource::kKeyname},
                                                               {"object-name", plant::NameSource::kObjectName},
                                                               {"description", plant::NameSource::kDescription}};

struct ImportOptions {
  std::string file;
  std::string names = "keyname";
  std::vector<std::string> types;
  plant::PointFilter filter;
  bool mayChange = false;
  bool isDryRun = false;
};

const char* wordOf(const ImportedLine& line) {
  if (line.kind == Kind::kNothing) return "left out";
  switch (line.placement) {
    case plant::Placement::kAdded:
      return "added";
    case plant::Placement::kKept:
      return "kept";
    case plant::Placement::kChanged:
      return "changed";
    case plant::Placement::kDiffers:
      return "differs";
  }
  return "";
}

Tone toneOf(const ImportedLine& line) {
  if (line.kind == Kind::kNothing || line.placement == plant::Placement::kDiffers) return Tone::kWarning;
  return Tone::kPlain;
}

Record recordOf(const ImportedLine& line) {
  Record record;
  record["line"] = line.line;
  record["result"] = wordOf(line);
  record["link"] = line.kind == Kind::kNothing ? Record() : Record(line.link);
  record["regId"] = line.kind == Kind::kPoint ? Record(line.point.regId) : Record();
  record["name"] = line.kind == Kind::kPoint ? line.point.fullName() : line.name;
  record["type"] = line.kind == Kind::kPoint ? Record(line.point.dataTypeWord) : Record();
  record["unit"] = line.unit;
  record["states"] = line.states;
  record["note"] = line.note;
  return record;
}

// A trial shows every line, an import those that somebody should look at.
bool isShown(const ImportedLine& line, bool isDryRun) {
  return isDryRun || !line.note.empty() || (line.kind == Kind::kLink && line.placement != plant::Placement::kKept);
}

void show(const plant::ImportReport& report, const Options& options, COutput& output, bool isDryRun) {
  CRecordWriter writer(output, options.format,
                       {{"line", "Line", true},
                        {"result", "Result"},
                        {"link", "Link", true},
                        {"regId", "RegId", true},
                        {"name", "Name"},
                        {"type", "Type"},
                        {"unit", "Unit"},
                        {"states", "States"},
                        {"note", "Note"}});
  bool isEmpty = true;
  for (const ImportedLine& line : report) {
    if (!isShown(line, isDryRun)) continue;
    writer.add(recordOf(line), toneOf(line));
    isEmpty = false;
  }
  if (!isEmpty || options.format != Format::kTable) writer.flush();
}

// "3 points added, 1 kept, 2 lines left out".
std::string summaryOf(const plant::ImportReport& report) {
  std::map<std::string, std::size_t> counts;
  for (const ImportedLine& line : report) {
    if (line.kind != Kind::kLink) ++counts[wordOf(line)];
  }
  std::string text = fmt::format("{} points added, {} kept", counts["added"], counts["kept"]);
  for (const char* word : {"changed", "differs"}) {
    if (counts[word] > 0) text += fmt::format(", {} {}", counts[word], word);
  }
  return text + fmt::format(", {} lines left out", counts["left out"]);
}

constexpr const char* kFileRemedy = "name the object list of an EDE, or a table that 'hmi-host export' wrote";

plant::ImportReport reportOf(const Options& options, const ImportOptions& own, plant::CProjectWriter& project) {
  std::string bytes;
  std::string error;
  plant::EdeFiles files;
  if (plant::readFile(own.file, bytes, error) != 0) throw CFailure(ExitStatus::kUsage, error, kFileRemedy);
  if (plant::isTable(bytes)) return plant::importTable(bytes, own.mayChange, project);
  if (plant::readEdeFiles(own.file, files, error) != 0) throw CFailure(ExitStatus::kUsage, error, kFileRemedy);
  plant::EdeChoice choice = {options.link, kNameSources.at(own.names), own.filter};
  choice.filter.objectTypes = typesIn(own.types);
  return plant::importEde(files, choice, project);
}

void requirePoints(const plant::ImportReport& report, const std::string& file) {
  const bool hasAny =
      std::any_of(report.begin(), report.end(), [](const ImportedLine& line) { return line.kind != Kind::kNothing; });
  if (hasAny) return;
  const std::string reason =
      report.empty() ? "" : fmt::format(" (line {}: {})", report.front().line, report.front().note);
  throw CFailure(ExitStatus::kUsage, fmt::format("no line of {} becomes a point{}", file, reason), kFileRemedy);
}

ExitStatus import(const Options& options, COutput& output, const ImportOptions& own) {
  plant::CProjectWriter project;
  std::string error;
  if (project.open(projectFile(options), error) != 0)
    throw CFailure(ExitStatus::kProject, error, "mend the file; 'hmi-host check' may tell more");

  const plant::ImportReport report = reportOf(options, own, project);
  requirePoints(report, own.file);
  if (!own.isDryRun && project.isChanged() && project.save(error) != 0)
    throw CFailure(ExitStatus::kProject, error, "nothing has changed; make room, or see to the directory's rights");

  show(report, options, output, own.isDryRun);
  const bool hasChanges = project.isChanged();
  say(fmt::format("{}: {}{}", projectFile(options), summaryOf(report),
                  own.isDryRun && hasChanges ? "; nothing is written, this is a trial" : ""));
  const bool differs = std::any_of(report.begin(), report.end(), [](const ImportedLine& line) {
    return line.placement == plant::Placement::kDiffers;
  });
  if (differs) complain("--update changes what the project has otherwise");
  return ExitStatus::kWell;
}

}  // namespace

void addImport(CLI::App& app, Action& action) {
  CLI::App* const command =
      app.add_subcommand("import", "add the points of an EDE list or a table to the project file");
  const auto own = std::make_shared<ImportOptions>();
  command->add_option("file", own->file, "NAME_EDE.csv, or a table that 'export' wrote")->type_name("FILE")->required();
  command->add_flag("--dry-run", own->isDryRun, "show what would become of each line, and write nothing");
  command->add_flag("--update", own->mayChange, "a table's rows change what the project has otherwise");
  command->add_option("--names", own->names, "what an EDE's points are called after: keyname, object-name, description")
      ->type_name("COLUMN")
      ->check(CLI::IsMember({"keyname", "object-name", "description"}).description(""))
      ->capture_default_str();
  command->add_option("--only", own->filter.names, "of an EDE, only points whose name matches the glob")
      ->type_name("PATTERN");
  addTypeOption(*command, own->types, "of an EDE, only objects of this type");
  command->add_flag("--with-release", own->filter.withRelease,
                    "a release button for each commandable object of an EDE");
  command->add_flag("--with-flags", own->filter.withFlags, "fault and out-of-service of each object of an EDE");
  setExample(*command, "hmi-host --project /opt/project --link 3 import Building7_EDE.csv --dry-run");
  command->callback([&action, own] {
    action.run = [own](const Options& options, COutput& output) { return import(options, output, *own); };
  });
}

}  // namespace tool
