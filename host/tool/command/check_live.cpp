#include "host/tool/command/check_live.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <ctime>
#include <filesystem>

#include "host/tool/console/error_relay.h"
#include "host/tool/console/interrupt.h"
#include "host/tool/console/records.h"
#include "host/tool/live/link_check.h"
#include "host/tool/live/live_report.h"
#include "host/tool/live/report_changes.h"
#include "host/tool/live/report_file.h"
#include "plant/file.h"

namespace tool {

namespace {

std::string timeNow() {
  return fmt::format("{:%Y-%m-%d %H:%M}", fmt::localtime(std::time(nullptr)));
}

std::vector<plant::Link> linksOf(const Options& options, const std::string& file) {
  std::vector<plant::Link> links;
  std::string error;
  if (plant::readLinks(file, links, error) != 0)
    throw CFailure(ExitStatus::kProject, error, "name the project's directory with --project, or mend the file");
  if (!options.isLinkNamed) return links;
  const auto isOther = [&](const plant::Link& each) { return each.linkId != options.link; };
  links.erase(std::remove_if(links.begin(), links.end(), isOther), links.end());
  if (links.empty())
    throw CFailure(ExitStatus::kProject, fmt::format("the project file has no link {}", options.link),
                   "'hmi-host links' lists them");
  return links;
}

std::string counted(std::size_t number, const char* what) {
  return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

std::vector<Column> liveColumns(Format format, bool isCompared) {
  std::vector<Column> all = {{"line", "Line", true},
                             {"severity", "Severity"},
                             {"link", "Link", true},
                             {"where", "Where"},
                             {"problem", "Problem"}};
  if (format != Format::kTable) {
    all.insert(all.begin() + 3, {"regId", "RegId", true});
    all.insert(all.begin() + 5, {"check", "Check"});
    all.push_back({"remedy", "Remedy"});
  }
  if (isCompared) all.insert(all.begin(), {"change", "Change"});
  return all;
}

Tone toneOf(const Record& finding) {
  if (finding.value("change", "") == "mended") return Tone::kGood;
  return finding["severity"] == "error" ? Tone::kBad : finding["severity"] == "warning" ? Tone::kWarning : Tone::kPlain;
}

// A table gives the remedy a line of its own below the problem.
void show(const LiveReport& report, Format format, COutput& output) {
  CRecordWriter writer(output, format, liveColumns(format, !report.since.empty()));
  for (const Record& finding : report.findings) {
    writer.add(finding, toneOf(finding));
    const bool isToBeMended = !finding["remedy"].get<std::string>().empty() && finding.value("change", "") != "mended";
    if (format == Format::kTable && isToBeMended)
      writer.add({{"problem", "-> " + finding["remedy"].get<std::string>()}}, toneOf(finding));
  }
  if (!report.findings.empty() || format != Format::kTable) writer.flush();
}

bool isTable(const std::string& file) {
  return std::filesystem::path(file).extension() == ".csv";
}

std::string checkReportName(const std::string& file) {
  const bool isKnown = isTable(file) || std::filesystem::path(file).extension() == ".md";
  return isKnown ? "" : file + ": a report is a .md or a .csv file";
}

void requireNew(const LiveOptions& own) {
  for (const std::string& file : own.reports) {
    std::error_code unknown;
    if (!own.isForced && std::filesystem::exists(file, unknown))
      throw CFailure(ExitStatus::kUsage, file + ": exists already", "name another one, or take --force");
  }
}

std::optional<LiveReport> earlierReport(const std::string& file) {
  if (file.empty()) return std::nullopt;
  std::string text;
  std::string error;
  if (plant::readFile(file, text, error) != 0)
    throw CFailure(ExitStatus::kUsage, error, "name a report that 'check --live --report FILE.csv' wrote");
  if (auto report = parseCsv(text, error)) return report;
  throw CFailure(ExitStatus::kUsage, fmt::format("{}: {}", file, error), "a report to compare with is a .csv file");
}

void save(const LiveReport& report, const LiveOptions& own) {
  const auto existing = own.isForced ? plant::Existing::kReplaced : plant::Existing::kRefused;
  for (const std::string& file : own.reports) {
    std::string error;
    switch (plant::writeFile(file, isTable(file) ? toCsv(report) : toMarkdown(report), existing, error)) {
      case 0:
        say(file + ": written");
        break;
      case -1:
        throw CFailure(ExitStatus::kUsage, error, "name another one, or take --force");
      default:
        throw CFailure(ExitStatus::kInternal, error, "make room, or write it elsewhere");
    }
  }
}

void summarize(const LiveReport& report) {
  for (const Record& link : report.links) {
    const std::string device = link["device"].is_null() ? "no device" : "device " + link["device"].dump();
    const std::string name = link["name"].get<std::string>();
    say(fmt::format("link {}: {}{}: {} of {} points read, {}, {}", link["link"].dump(), device,
                    name.empty() ? "" : fmt::format(" ({})", name), link["read"].dump(), link["points"].dump(),
                    counted(link["errors"].get<std::size_t>(), "error"),
                    counted(link["warnings"].get<std::size_t>(), "warning")));
  }
  say(fmt::format("{}: {}, {}", report.project, counted(report.errors(), "error"),
                  counted(report.warnings(), "warning")));
}

}  // namespace

void LiveOptions::addTo(CLI::App& command) {
  command.add_flag("--live", isLive, "compare each point with its device, too; nothing is written to it");
  const auto live = command.get_option("--live");
  command.add_option("--report", reports, "keep it in a new .md file to hand over, or a .csv file; may be repeated")
      ->type_name("FILE")
      ->allow_extra_args(false)
      ->check(CLI::Validator(checkReportName, ""))
      ->needs(live);
  command.add_option("--since", since, "tell what has changed since this earlier .csv report")
      ->type_name("FILE")
      ->needs(live);
  command.add_flag("--force", isForced, "overwrite the reports if they exist")->needs(live);
}

ExitStatus checkLive(const Options& options, COutput& output, const std::string& file,
                     const std::vector<plant::Problem>& problems, bool isStrict, const LiveOptions& own) {
  requireNew(own);
  const auto before = earlierReport(own.since);
  const CInterruptNote note;
  LiveReport report;
  report.project = file;
  report.time = timeNow();
  for (const plant::Problem& each : problems) {
    if (!options.isLinkNamed || !each.link || *each.link == options.link) report.findings.push_back(recordOf(each));
  }
  const bool isFileBroken = report.errors() > 0;
  bool isSomeoneThere = false;
  for (const plant::Link& link : linksOf(options, file)) {
    if (isInterrupted()) break;
    const CheckedLink checked = checkLink(options, link);
    isSomeoneThere = isSomeoneThere || checked.isReached;
    if (checked.isReached || !isInterrupted()) add(checked, report);
  }
  if (before && !isInterrupted()) compare(*before, !options.isLinkNamed, report);
  show(report, options.format, output);
  summarize(report);
  if (isInterrupted()) {
    if (!own.reports.empty()) complain("no report is written: it would not be whole");
    return ExitStatus::kInterrupted;
  }
  save(report, own);
  if (isFileBroken) return ExitStatus::kProject;
  if (!isSomeoneThere && !report.links.empty()) return ExitStatus::kUnreachable;
  const bool isBad = report.errors() > 0 || (isStrict && report.warnings() > 0);
  return isBad ? ExitStatus::kPointsFailed : ExitStatus::kWell;
}

}  // namespace tool
