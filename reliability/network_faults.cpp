// What becomes of a host's reads and writes when the network or a device fails: the real plug-in and helper with
// bacnet-devices, each fault in namespaces of its own, all at the same time. --help has the options.
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <map>
#include <new>
#include <thread>

#include "reliability/network/faults.h"
#include "reliability/network/namespaces.h"
#include "reliability/report.h"
#include "support/process_state.h"

namespace {

using reliability::CLink;
using reliability::Clock;
using reliability::Fault;
using reliability::Figures;
using reliability::milliseconds;
using reliability::Scene;
using std::chrono::seconds;

constexpr const char* kRuntimeDirectory = "/tmp/velix_bacnet";
constexpr seconds kComesUpWithin{40};
constexpr seconds kCalm{14};
constexpr milliseconds kLongestCall{2600};
constexpr milliseconds kLongestUndisturbed{1000};
constexpr milliseconds kLongestReturn{10000};
constexpr milliseconds kBusyMachine{2000};  // more for each in a run beside other tests
constexpr long kMostGrowthKiB = 1024;
constexpr std::uintmax_t kMostLogAnHour = 64 << 10;

struct Options {
  std::uint64_t reads = 0;
  int seconds = 12;
  int minutes = 0;
  int pause = 50;
  bool reports = false;
  std::string pattern;
};

std::string text(milliseconds time) {
  return std::to_string(time.count()) + " ms";
}

void show(const std::vector<std::string>& cells) {
  std::string row;
  for (const std::string& cell : cells) row += cell + " | ";
  std::fprintf(stderr, "%s\n", row.c_str());
}

milliseconds since(Clock::time_point earlier, Clock::time_point later) {
  return std::max(std::chrono::duration_cast<milliseconds>(later - earlier), milliseconds(0));
}

/// Says what is wrong with a run, and remembers that something is.
class CComplaints {
 public:
  explicit CComplaints(std::string name) : name_(std::move(name)) {}
  void require(bool isSo, const std::string& otherwise) {
    if (isSo) return;
    ++count_;
    std::fprintf(stderr, "FAILED: %s: %s\n", name_.c_str(), otherwise.c_str());
  }
  int count() const { return count_; }

 private:
  std::string name_;
  int count_ = 0;
};

/// The figures of several links as one.
Figures sumOf(const Scene& scene, bool ofTargets) {
  Figures sum;
  for (const auto& link : scene.links) {
    if (link->options().isTarget != ofTargets) continue;
    const Figures each = link->figures();
    sum.values += each.values;
    sum.wrong += each.wrong;
    if (each.wrong > 0) sum.firstWrong += " " + std::to_string(each.wrong) + " of " + each.firstWrong + ";";
    for (const auto& [code, times] : each.codes) sum.codes[code] += times;
    sum.longest = std::max(sum.longest, each.longest);
    sum.oldest = std::max(sum.oldest, each.oldest);
    sum.lastFailure = std::max(sum.lastFailure, each.lastFailure);
  }
  return sum;
}

std::string codesOf(const Figures& figures) {
  std::string codes = "0";
  for (const auto& [code, times] : figures.codes) {
    if (code != 0) codes += ", " + std::to_string(code);
  }
  return codes;
}

void awaitStart(const Scene& scene) {
  const bool areUp = support::waitUntil(
      [&] {
        return std::all_of(scene.links.begin(), scene.links.end(), [](const auto& link) { return link->isUp(); });
      },
      kComesUpWithin);
  if (!areUp) throw std::runtime_error("not every link has been read");
}

/// One fault and the calm after it. Result: how long the last call that failed came after its end.
milliseconds suffer(const Fault& fault, Scene& scene, seconds duration) {
  scene.plant.wire().setWeather(fault.weather);
  if (fault.begin != nullptr) fault.begin(scene);
  std::this_thread::sleep_for(duration);
  scene.plant.wire().setWeather({});
  if (fault.end != nullptr) fault.end(scene);
  const auto ended = Clock::now();
  std::this_thread::sleep_for(kCalm);
  auto last = sumOf(scene, true).lastFailure;
  if (fault.isForAll) last = std::max(last, sumOf(scene, false).lastFailure);
  return since(ended, last);
}

void requireLogs(const Fault& fault, Scene& scene, CComplaints& complaints) {
  std::string all;
  scene.eachTarget([&](const CLink& link) {
    const std::string log = support::readFile(link.project().linkFile(".log"));
    all += log;
    if (fault.mustSay == nullptr) return;
    complaints.require(log.find(fault.mustSay) != std::string::npos, "the log does not say so: " + log);
  });
  if (!fault.setsClockBack) return;
  bool wentBack = false;
  for (std::size_t at = all.find('\n'); at + 11 < all.size(); at = all.find('\n', at + 1)) {
    wentBack = wentBack || all.compare(at + 1, 10, all, 0, 10) != 0;
  }
  complaints.require(wentBack, "the clock was not set back: " + all);
}

/// `reads`: good ones of targets, of all faults.
int runFault(const Fault& fault, unsigned number, const Options& options, std::atomic<std::uint64_t>& reads) {
  CComplaints complaints(fault.name);
  const auto scene = reliability::makeScene(fault, number, milliseconds(options.pause));
  awaitStart(*scene);
  milliseconds back{0};
  std::uint64_t counted = 0;
  do {
    back = std::max(back, suffer(fault, *scene, seconds(options.seconds)));
    const std::uint64_t now = sumOf(*scene, true).values;
    reads += now - std::exchange(counted, now);
  } while (reads < options.reads);
  for (const auto& link : scene->links) link->endHost();

  const Figures targets = sumOf(*scene, true);
  const Figures others = sumOf(*scene, false);
  const milliseconds busy = options.reads > 0 ? milliseconds(0) : kBusyMachine;
  complaints.require(targets.values > 0 && others.values > 0, "nothing was read");
  complaints.require(targets.wrong == 0, "wrong values:" + targets.firstWrong);
  complaints.require(others.wrong == 0, "wrong values of the others:" + others.firstWrong);
  complaints.require(targets.codes.count(-1) + others.codes.count(-1) == 0, "a call without an answer");
  complaints.require(std::max(targets.longest, others.longest) <= kLongestCall + busy, "a call blocked too long");
  complaints.require(back <= kLongestReturn, "not right again in time");
  if (!fault.isForAll) {
    complaints.require(others.longest <= kLongestUndisturbed + busy, "another device's call took too long");
    complaints.require(others.codes.empty(), "another device's call failed: " + codesOf(others));
  }
  complaints.require(fault.weather.late == 0 || scene->plant.wire().lateAnswers() > 0, "no answer came that late");
  requireLogs(fault, *scene, complaints);

  const std::vector<std::string> cells = {fault.name,
                                          codesOf(targets),
                                          text(targets.longest),
                                          text(others.longest),
                                          text(back),
                                          text(targets.oldest),
                                          std::to_string(targets.values + others.values),
                                          std::to_string(targets.wrong + others.wrong)};
  if (options.reports) support::reportRow("network_faults", std::to_string(100 + number), cells);
  show(cells);
  return complaints.count();
}

/// What a helper holds.
struct Holdings {
  explicit Holdings(const CLink& link) {
    const std::string process = std::to_string(link.project().helperPid());
    memory = support::residentKiB(process);
    descriptors = support::entriesOf(("/proc/" + process + "/fd").c_str());
    std::error_code none;
    for (const char* ending : {".log", ".log.old"}) {
      const auto size = std::filesystem::file_size(link.project().linkFile(ending), none);
      if (!none) log += size;
    }
  }
  long memory = 0;
  std::size_t descriptors = 0;
  std::uintmax_t log = 0;
};

/// Minutes of everyday use; what the helpers hold after a tenth of them is what they may hold in the end.
int runLong(const Options& options) {
  CComplaints complaints("long run");
  const Fault& fault = reliability::everydayFault();
  const auto scene = reliability::makeScene(fault, 1, milliseconds(options.pause));
  awaitStart(*scene);
  scene->plant.wire().setWeather(fault.weather);
  const int warmUp = std::max(options.minutes / 10, 1);
  std::vector<Holdings> warm;
  for (int minute = 1; minute <= options.minutes; ++minute) {
    std::this_thread::sleep_for(std::chrono::minutes(1));
    for (const auto& link : scene->links) {
      const Holdings now(*link);
      if (minute == warmUp) warm.push_back(now);
      std::fprintf(stderr, "minute %d, link %d: %ld KiB, %zu descriptors, log of %ju bytes\n", minute,
                   link->options().number, now.memory, now.descriptors, now.log);
    }
  }
  for (std::size_t i = 0; i < scene->links.size(); ++i) {
    CLink& link = *scene->links[i];
    link.endHost();
    const Holdings end(link);
    const Figures figures = link.figures();
    const std::string name = link.options().isTarget ? link.options().kind.name : "in batches, no fault";
    complaints.require(figures.wrong == 0, name + ": " + figures.firstWrong);
    complaints.require(figures.codes.count(-1) == 0, name + ": a call without an answer");
    complaints.require(end.memory - warm[i].memory <= kMostGrowthKiB, name + ": memory grows");
    complaints.require(end.descriptors == warm[i].descriptors, name + ": descriptors");
    const auto mostLog = kMostLogAnHour * static_cast<std::uintmax_t>(options.minutes + 59) / 60;
    complaints.require(end.log - warm[i].log <= mostLog, name + ": the log grows");
    const std::vector<std::string> cells = {name,
                                            std::to_string(options.minutes) + " min",
                                            std::to_string(figures.values),
                                            std::to_string(figures.wrong),
                                            text(figures.longest),
                                            std::to_string(warm[i].memory) + " KiB",
                                            std::to_string(end.memory - warm[i].memory) + " KiB",
                                            std::to_string(end.descriptors),
                                            std::to_string(end.log - warm[i].log) + " bytes"};
    if (options.reports) support::reportRow("network_hour", std::to_string(i), cells);
    show(cells);
  }
  return complaints.count();
}

/// Runs `act` as the first process of namespaces of its own; everything that it leaves ends with it.
template <typename Act>
pid_t startApart(Act act) {
  const pid_t child = fork();
  if (child != 0) return child;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const std::string failure = reliability::leaveMachine();
  if (!failure.empty()) {
    std::fprintf(stderr, "%s (in a container: CAP_SYS_ADMIN)\n", failure.c_str());
    _exit(1);
  }
  const pid_t first = fork();
  if (first == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    int failures = 1;
    try {
      const std::string error = reliability::settleIn(kRuntimeDirectory);
      if (!error.empty()) throw std::runtime_error(error);
      if (std::freopen("/dev/null", "w", stdout) == nullptr) throw std::runtime_error("/dev/null");  // the plug-in's
      failures = act();
    } catch (const std::exception& error) {
      std::fprintf(stderr, "FAILED: %s\n", error.what());
    }
    _exit(failures == 0 ? 0 : 1);
  }
  int status = 1;
  _exit(first > 0 && waitpid(first, &status, 0) == first && status == 0 ? 0 : 1);
}

int run(const Options& options) {
  std::filesystem::create_directories(kRuntimeDirectory);
  void* const shared = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) return 1;
  auto& reads = *new (shared) std::atomic<std::uint64_t>(0);

  std::vector<pid_t> children;
  if (options.minutes > 0) {
    children.push_back(startApart([&] { return runLong(options); }));
  } else {
    unsigned number = 0;
    for (const Fault& fault : reliability::allFaults()) {
      ++number;
      if (std::string(fault.name).find(options.pattern) == std::string::npos) continue;
      children.push_back(startApart([&, number] { return runFault(fault, number, options, reads); }));
    }
  }
  int failed = 0;
  for (const pid_t child : children) {
    int status = 1;
    if (waitpid(child, &status, 0) != child || status != 0) ++failed;
  }
  std::fprintf(stderr, "%zu runs, %d failed, %ju values read of devices with faults\n", children.size(), failed,
               static_cast<std::uintmax_t>(reads));
  return children.empty() || failed > 0 ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) try {
  testing::InitGoogleTest();
  CLI::App app("Faults of the network and of devices, through plug-in, helper and virtual devices in namespaces");
  Options options;
  app.add_option("--reads", options.reads, "Go on until so many values were read of devices with faults");
  app.add_option("--seconds", options.seconds, "How long each fault lasts")->capture_default_str();
  app.add_option("--minutes", options.minutes, "Instead: everyday use for so long, and what the helpers then hold");
  app.add_option("--pause", options.pause, "Between two calls of a host, in ms")->capture_default_str();
  app.add_flag("--report", options.reports, "Leave the table's rows for scripts/reliability");
  app.add_option("PATTERN", options.pattern, "Only the faults with it in their names");
  CLI11_PARSE(app, argc, argv);
  return run(options);
} catch (const std::exception& error) {
  std::fprintf(stderr, "FAILED: %s\n", error.what());
  return 1;
}
