#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "host/tool/command/commands.h"
#include "host/tool/command/point_reader.h"
#include "host/tool/console/error_relay.h"
#include "host/tool/examine/findings.h"
#include "host/tool/link/batching.h"
#include "host/tool/link/helper_process.h"
#include "host/tool/link/network_interface.h"
#include "host/tool/link/plugin.h"
#include "host/tool/link/project.h"
#include "host/tool/link/session.h"
#include "host/tool/view/result_view.h"

namespace tool {

namespace {

// What the steps find out for those after them.
struct Examination {
  explicit Examination(const Options& given) : options(given) {}

  const Options& options;
  std::unique_ptr<CPlugin> plugin;
  plant::Link link;
  std::unique_ptr<CSession> session;
};

struct Step {
  std::string name;
  std::vector<std::string> needs;  // the steps that must not have failed
  std::function<Finding(Examination&)> examine;
};

Finding loadPlugin(Examination& seen) {
  seen.plugin = std::make_unique<CPlugin>(findPlugin(seen.options));
  return ok(seen.plugin->path());
}

Finding askAbiVersion(Examination& seen) {
  seen.plugin->requireAbiVersion();
  return ok(fmt::format("version {}", seen.plugin->abiVersion()));
}

Finding readProject(Examination& seen) {
  seen.link = readLink(seen.options);
  return ok(projectFile(seen.options));
}

Finding findLink(Examination& seen) {
  requirePresent(seen.link, seen.options);
  return ok(fmt::format("link {} with {} points", seen.link.linkId, seen.link.points.size()));
}

Finding findAddress(Examination& seen) {
  const std::string& name = seen.options.networkInterface;
  return ok(fmt::format("{} has {}", name, addressOf(name)));
}

Finding configure(Examination& seen) {
  seen.session = std::make_unique<CSession>(seen.options, std::move(seen.plugin));
  seen.session->init();
  return ok("the helper has taken the project file");
}

Finding connect(Examination& seen) {
  seen.session->connect();
  return ok("the helper is connected");
}

Finding readFirst(Examination& seen) {
  if (seen.link.points.empty())
    return warning("the link has no points", "add \"Symbol\" elements for it to the project file");
  std::vector<Access> accesses = prepareReads(*seen.session, {seen.link.points.front()});
  CStatistics statistics;
  CBatcher(*seen.session, statistics).read(accesses);

  const Result result = readResult(accesses[0]);
  if (!result.isGood)
    return failed(ExitStatus::kPointsFailed, complaintOf(result, seen.options),
                  "read the others: hmi-host ... read --all");
  return ok(fmt::format("{} is {}", result.point().fullName(), valueText(result)));
}

// What a start would need does not matter while a helper runs.
Finding unlessServed(const Examination& seen, const std::function<Finding()>& examine) {
  Finding finding = outcomeOf(examine);
  if (finding.verdict != Verdict::kFailed || !isServed(seen.options.link)) return finding;
  return warning(finding.detail + "; a helper runs", finding.remedy);
}

std::vector<Step> steps() {
  return {
      {"plug-in", {}, loadPlugin},
      {"ABI", {"plug-in"}, askAbiVersion},
      {"project file", {}, readProject},
      {"project check", {"project file"}, [](Examination& seen) { return examineProject(seen.options); }},
      {"link", {"project file"}, findLink},
      {"interface", {}, findAddress},
      {"helper file",
       {},
       [](Examination& seen) { return unlessServed(seen, [&] { return examineHelper(seen.options.project); }); }},
      {"shell", {}, [](Examination& seen) { return unlessServed(seen, examineShell); }},
      {"runtime directory", {}, [](Examination& seen) { return examineRuntimeDirectory(seen.options.link); }},
      {"pid file", {"runtime directory"}, [](Examination& seen) { return examinePidFile(seen.options.link); }},
      {"socket", {"runtime directory"}, [](Examination& seen) { return examineSocket(seen.options.link); }},
      {"helper process", {"pid file", "socket"}, [](Examination& seen) { return examineHolder(seen.options); }},
      {"configuration", {"ABI", "link", "helper file", "shell", "helper process"}, configure},
      {"connection", {"configuration", "interface"}, connect},
      {"first read", {"connection"}, readFirst},
  };
}

Finding examine(const Step& step, Examination& seen, const std::set<std::string>& unmet) {
  for (const std::string& need : step.needs) {
    if (unmet.count(need) > 0) return {Verdict::kSkipped, fmt::format("needs: {}", need), "", ExitStatus::kWell};
  }
  return outcomeOf([&] { return step.examine(seen); });
}

const char* wordOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kOk:
      return "ok";
    case Verdict::kWarning:
      return "warning";
    case Verdict::kFailed:
      return "failed";
    case Verdict::kSkipped:
      return "skipped";
  }
  return "";
}

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
void add(CRecordWriter& writer, Format format, const Step& step, const Finding& finding) {
  const Tone tone = toneOf(finding.verdict);
  Record record;
  record["step"] = step.name;
  record["status"] = wordOf(finding.verdict);
  record["detail"] = finding.detail;
  if (format != Format::kTable && !finding.remedy.empty()) record["remedy"] = finding.remedy;
  writer.add(record, tone);
  if (format == Format::kTable && !finding.remedy.empty()) writer.add({{"detail", "-> " + finding.remedy}}, tone);
}

std::vector<Column> columns(Format format) {
  std::vector<Column> all = {{"step", "Step"}, {"status", "Status"}, {"detail", "Detail"}};
  if (format != Format::kTable) all.push_back({"remedy", "Remedy"});
  return all;
}

ExitStatus examineAll(const Options& options, COutput& output) {
  CRecordWriter writer(output, options.format, columns(options.format));
  const std::vector<Step> all = steps();
  for (const Step& step : all) writer.fit({{"step", step.name}, {"status", wordOf(Verdict::kSkipped)}});
  Examination seen(options);
  std::set<std::string> unmet;
  ExitStatus status = ExitStatus::kWell;
  std::string firstFailure;
  for (const Step& step : all) {
    const Finding finding = examine(step, seen, unmet);
    add(writer, options.format, step, finding);
    writer.flush();  // a step may take long
    if (finding.verdict == Verdict::kFailed || finding.verdict == Verdict::kSkipped) unmet.insert(step.name);
    if (finding.verdict != Verdict::kFailed || status != ExitStatus::kWell) continue;
    status = finding.status;
    firstFailure = fmt::format("{}: {}; {}", step.name, finding.detail, finding.remedy);
  }
  if (status != ExitStatus::kWell) complain(firstFailure);
  return status;
}

}  // namespace

void addDoctor(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand("doctor", "check each step from the plug-in to the first read");
  setExample(*command, "hmi-host --project /opt/project --interface eth0 doctor");
  command->callback([&action] { action.run = examineAll; });
}

}  // namespace tool
