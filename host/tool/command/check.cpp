#include "plant/check.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "host/tool/command/check_live.h"
#include "host/tool/command/commands.h"
#include "host/tool/console/error_relay.h"
#include "host/tool/console/records.h"
#include "host/tool/link/project.h"

namespace tool {

namespace {

struct CheckOptions {
  std::string file;  ///< empty: the project's
  bool isStrict = false;
  LiveOptions live;
};

bool isError(const plant::Problem& problem) {
  return problem.severity == plant::Severity::kError;
}

std::vector<Column> problemColumns(Format format) {
  std::vector<Column> all = {{"line", "Line", true},
                             {"severity", "Severity"},
                             {"link", "Link", true},
                             {"where", "Where"},
                             {"problem", "Problem"}};
  if (format != Format::kTable) all.push_back({"remedy", "Remedy"});
  return all;
}

// A table gives the remedy a line of its own below the problem.
void add(CRecordWriter& writer, Format format, const plant::Problem& problem) {
  Record record;
  record["line"] = problem.line;
  record["severity"] = isError(problem) ? "error" : "warning";
  record["link"] = problem.link ? Record(*problem.link) : Record();
  record["where"] = problem.where;
  record["problem"] = problem.text;
  if (format != Format::kTable) record["remedy"] = problem.remedy;
  const Tone tone = isError(problem) ? Tone::kBad : Tone::kWarning;
  writer.add(record, tone);
  if (format == Format::kTable) writer.add({{"problem", "-> " + problem.remedy}}, tone);
}

ExitStatus check(const Options& options, COutput& output, const CheckOptions& own) {
  const std::string file = own.file.empty() ? projectFile(options) : own.file;
  std::vector<plant::Problem> problems;
  std::string error;
  if (plant::checkProject(file, problems, error) != 0)
    throw CFailure(ExitStatus::kProject, error, "name the project's directory with --project, or mend the file");
  if (own.live.isLive) return checkLive(options, output, file, problems, own.isStrict, own.live);

  CRecordWriter writer(output, options.format, problemColumns(options.format));
  for (const plant::Problem& problem : problems) add(writer, options.format, problem);
  if (!problems.empty() || options.format != Format::kTable) writer.flush();

  const auto errors = std::count_if(problems.begin(), problems.end(), isError);
  const auto warnings = static_cast<std::ptrdiff_t>(problems.size()) - errors;
  say(fmt::format("{}: {} error{}, {} warning{}", file, errors, errors == 1 ? "" : "s", warnings,
                  warnings == 1 ? "" : "s"));
  const bool isBad = errors > 0 || (own.isStrict && !problems.empty());
  return isBad ? ExitStatus::kProject : ExitStatus::kWell;
}

}  // namespace

void addCheck(CLI::App& app, Action& action) {
  CLI::App* const command =
      app.add_subcommand("check", "find mistakes in the project file, and where its devices differ");
  const auto own = std::make_shared<CheckOptions>();
  command->add_option("file", own->file, "another project file than the project's own")->type_name("FILE");
  command->add_flag("--strict", own->isStrict, "warnings, too, make the exit status 3, or 7 with --live");
  own->live.addTo(*command);
  setExample(*command, "hmi-host --project /opt/project check --live --interface eth0");
  command->callback([&action, own] {
    action = {[own](const Options& options, COutput& output) { return check(options, output, *own); },
              own->file.empty()};
  });
}

}  // namespace tool
