#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "host/tool/command/commands.h"
#include "host/tool/console/error_relay.h"
#include "host/tool/console/interrupt.h"
#include "host/tool/console/records.h"
#include "host/tool/examine/examination.h"

namespace tool {

namespace {

Tone toneOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kOk:
      return Tone::kGood;
    case Verdict::kWarning:
      return Tone::kWarning;
    case Verdict::kFailed:
      return Tone::kBad;
    case Verdict::kSkipped:
      return Tone::kFaint;
  }
  return Tone::kPlain;
}

// A table gives the remedy a line of its own below the step.
void add(CRecordWriter& writer, Format format, const std::string& step, const Finding& finding) {
  const Tone tone = toneOf(finding.verdict);
  Record record;
  record["step"] = step;
  record["status"] = wordOf(finding.verdict);
  record["detail"] = finding.detail;
  if (format != Format::kTable && !finding.remedy.empty()) record["remedy"] = finding.remedy;
  writer.add(record, tone);
  if (format == Format::kTable && !finding.remedy.empty()) writer.add({{"detail", "-> " + finding.remedy}}, tone);
}

std::vector<Column> findingColumns(Format format) {
  std::vector<Column> all = {{"step", "Step"}, {"status", "Status"}, {"detail", "Detail"}};
  if (format != Format::kTable) all.push_back({"remedy", "Remedy"});
  return all;
}

ExitStatus examineAll(const Options& options, COutput& output) {
  CRecordWriter writer(output, options.format, findingColumns(options.format));
  for (const std::string& step : stepNames()) writer.fit({{"step", step}, {"status", wordOf(Verdict::kSkipped)}});
  ExitStatus status = ExitStatus::kWell;
  std::string firstFailure;
  examineLink(options, [&](const std::string& step, const Finding& finding) {
    if (isInterrupted()) return false;
    add(writer, options.format, step, finding);
    writer.flush();  // the next step may take long
    if (finding.verdict == Verdict::kFailed && status == ExitStatus::kWell) {
      status = finding.status;
      firstFailure = fmt::format("{}: {}; {}", step, finding.detail, finding.remedy);
    }
    return true;
  });
  if (isInterrupted()) return ExitStatus::kInterrupted;
  if (status != ExitStatus::kWell) complain(firstFailure);
  return status;
}

}  // namespace

void addDoctor(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand(
      "doctor", "check each step from the plug-in to the first read, the device included (40 s at most)");
  setExample(*command, "hmi-host --project /opt/project --interface eth0 doctor");
  command->callback([&action] { action.run = examineAll; });
}

}  // namespace tool
