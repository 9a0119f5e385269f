#include "host/tool/examine/examination.h"

#include <fmt/format.h>

#include <memory>
#include <set>
#include <utility>

#include "host/tool/examine/device_examination.h"
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
  bool isSimulated = false;                    // the link's points are no device's
  std::unique_ptr<CDeviceExamination> device;  // from its first step to its last
};

struct Step {
  std::string name;
  std::vector<std::string> needs;  // the steps that must not have failed
  std::function<Finding(Examination&)> examine;
  bool isOfDevice = false;
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
  const plant::Point& point = seen.link.points.front();
  std::vector<Access> accesses = {{point, seen.session->prepare(point), {}}};
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

Finding examinePort(Examination& seen) {
  seen.device = std::make_unique<CDeviceExamination>(seen.options, seen.link);
  return seen.device->port();
}

// A step behind the bus.
Step deviceStep(const char* name, const char* need, Finding (CDeviceExamination::*step)()) {
  return {name, {need}, [step](Examination& seen) { return ((*seen.device).*step)(); }, true};
}

// Without the device's station a driver's call may be interrupted, as ever.
Finding readThroughDriver(Examination& seen) {
  seen.device.reset();
  return readFirst(seen);
}

std::vector<Step> steps() {
  using Device = CDeviceExamination;
  return {
      {"plug-in", {}, loadPlugin},
      {"ABI", {"plug-in"}, askAbiVersion},
      {"project file", {}, readProject},
      {"project check", {"project file"}, [](Examination& seen) { return examineProject(seen.options); }},
      {"link", {"project file"}, findLink},
      {"interface", {}, findAddress},
      {"helper file",
       {},
       [](Examination& seen) {
         return unlessServed(seen, [&] { return examineHelper(seen.options.project, seen.isSimulated); });
       }},
      {"shell", {}, [](Examination& seen) { return unlessServed(seen, examineShell); }},
      {"runtime directory", {}, [](Examination& seen) { return examineRuntimeDirectory(seen.options.link); }},
      {"pid file", {"runtime directory"}, [](Examination& seen) { return examinePidFile(seen.options.link); }},
      {"socket", {"runtime directory"}, [](Examination& seen) { return examineSocket(seen.options.link); }},
      {"helper process", {"pid file", "socket"}, [](Examination& seen) { return examineHolder(seen.options); }},
      {"configuration", {"ABI", "link", "helper file", "shell", "helper process"}, configure},
      {"connection", {"configuration", "interface"}, connect},
      {"UDP port", {"link", "helper file"}, examinePort, true},
      deviceStep("route", "UDP port", &Device::route),
      deviceStep("peer", "route", &Device::peer),
      deviceStep("I-Am", "peer", &Device::iAm),
      deviceStep("services", "I-Am", &Device::services),
      deviceStep("APDU", "services", &Device::apdu),
      deviceStep("one read", "services", &Device::read),
      deviceStep("one batch", "one read", &Device::batch),
      deviceStep("one subscription", "one read", &Device::subscribe),
      {"first read", {"connection"}, readThroughDriver},
  };
}

Finding examine(const Step& step, Examination& seen, const std::set<std::string>& unmet) {
  for (const std::string& need : step.needs) {
    if (unmet.count(need) > 0) return {Verdict::kSkipped, fmt::format("needs: {}", need), "", ExitStatus::kWell};
  }
  return outcomeOf([&] { return step.examine(seen); });
}

}  // namespace

std::vector<std::string> stepNames() {
  std::vector<std::string> names;
  for (const Step& step : steps()) names.push_back(step.name);
  return names;
}

void examineLink(const Options& options, const StepReport& report) {
  Examination seen(options);
  std::set<std::string> unmet;
  for (const Step& step : steps()) {
    if (step.isOfDevice && seen.isSimulated) continue;
    const Finding finding = examine(step, seen, unmet);
    if (finding.verdict == Verdict::kFailed || finding.verdict == Verdict::kSkipped) unmet.insert(step.name);
    if (!report(step.name, finding)) return;
  }
}

}  // namespace tool
