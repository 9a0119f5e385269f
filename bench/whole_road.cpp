#include "bench/whole_road.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "bench/device_peer.h"
#include "bench/driver_peer.h"
#include "bench/exchange.h"
#include "bench/foreign_client.h"
#include "bench/plain_exchange.h"
#include "bench/redis_peer.h"

namespace bench {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr int kRounds = 2000;
constexpr int kCallsPerSlice = 20;

// A datagram that reads one REAL: BVLC 4 octets, NPDU 2, PDU 4, object 5, property 2; and its answer: PDU 3, the same,
// and the value 5 between two tags.
constexpr std::size_t kReadOctets = 4 + 2 + 4 + 5 + 2;
constexpr std::size_t kReadAckOctets = 4 + 2 + 3 + 5 + 2 + 1 + 5 + 1;

constexpr int kScanPoints = 1000;
constexpr int kScans = 5;
constexpr milliseconds kAway{100};
// An answer of 1476 octets: 3 of header; each point an object 5, a property 2, the value 5 and four tags.
constexpr int kPointsInOneAnswer = (1476 - 3) / (5 + 2 + 5 + 4);
constexpr int kFullRequests = (kScanPoints + kPointsInOneAnswer - 1) / kPointsInOneAnswer;

constexpr int kStarts = 9;
constexpr milliseconds kLongestStart{150};
constexpr int kPointsOfMemory = 100;
constexpr double kMostMemory = 6;  // MiB
constexpr std::size_t kHelpers = 50;
constexpr int kSecondsWatched = 10;
constexpr double kMostIdle = 1;  // percent of one processor

template <typename Work>
double secondsOf(const Work& work) {
  const auto start = steady_clock::now();
  work();
  return std::chrono::duration<double>(steady_clock::now() - start).count();
}

double medianOf(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// Throws unless the values come from the helper's own memory: a device that hears nothing would not answer.
void requireSubscription(CDriverPeer& driver, const CDevicePeer& device) {
  driver.read();
  std::this_thread::sleep_for(seconds(1));  // the first notification
  device.pause(true);
  const double taken = secondsOf([&] { driver.read(); });
  device.pause(false);
  if (taken > 0.5) throw std::runtime_error("the device's values are not subscribed to");
}

// Nanoseconds that a process has been running, all in all.
double processorTime(pid_t process) {
  double nanoseconds = 0;
  if (!(std::ifstream(fmt::format("/proc/{}/schedstat", process)) >> nanoseconds)) {
    throw std::runtime_error("the kernel does not say what a process takes");
  }
  return nanoseconds;
}

double residentMebibytes(pid_t process) {
  std::ifstream status(fmt::format("/proc/{}/status", process));
  for (std::string word; status >> word;) {
    double kibibytes = 0;
    if (word == "VmRSS:" && status >> kibibytes) return kibibytes / 1024;
  }
  throw std::runtime_error("the kernel does not say what a process keeps");
}

using Drivers = std::vector<std::unique_ptr<CDriverPeer>>;

// Percent of one processor that the helpers take while `eachSecond` is done.
template <typename Work>
double percentWhile(const Drivers& drivers, const Work& eachSecond) {
  const auto total = [&] {
    double sum = 0;
    for (const auto& driver : drivers) sum += processorTime(driver->helper());
    return sum;
  };
  const double before = total();
  const auto start = steady_clock::now();
  for (int second = 1; second <= kSecondsWatched; ++second) {
    eachSecond();
    std::this_thread::sleep_until(start + seconds(second));
  }
  return 100 * (total() - before) / 1e9 / kSecondsWatched;
}

}  // namespace

void compareWholeRoad(CReport& report, const std::string& stacks) {
  const CDevicePeer device;
  LinkSetup setup{HELPER_FILE};
  setup.device = device.address();
  CDriverPeer polled(setup);
  setup.isSubscribed = true;
  CDriverPeer subscribed(setup);
  requireSubscription(subscribed, device);
  using Over = CPlainExchange::Over;
  CPlainExchange bus(Over::kUnixSocket, readRequestFrame(1).size(), readReplyFrame(1).size());
  CPlainExchange network(Over::kLoopbackUdp, kReadOctets, kReadAckOctets);
  CRedisPeer redis;
  std::unique_ptr<CForeignClient> foreign;
  if (!stacks.empty()) foreign = std::make_unique<CForeignClient>(stacks, device.address());

  CRounds rounds;
  const auto add = [&rounds](const char* name, std::function<void()> call) {
    return rounds.add(name, sliceOf(kCallsPerSlice, std::move(call)));
  };
  const std::size_t plainBus = add("plain write/read", [&] { bus.exchange(); });
  const std::size_t plainNetwork = add("plain UDP", [&] { network.exchange(); });
  const std::size_t get = add("hiredis GET", [&] { redis.get(); });
  const std::size_t told = add("one read, subscribed value", [&] { subscribed.read(); });
  const std::size_t one = add("one read, device", [&] { polled.read(); });
  const std::size_t batch = add("batch of 11, device", [&] { polled.readBatch(); });
  std::size_t foreignOne = 0;
  std::size_t foreignBatch = 0;
  if (foreign) {
    foreignOne = rounds.add("node-bacnet, one read", [&] { return foreign->read(kCallsPerSlice, 1); });
    foreignBatch = rounds.add("node-bacnet, 11 in one", [&] { return foreign->read(kCallsPerSlice, kBatchSize); });
  }
  rounds.run(kRounds);

  report.add(rounds, plainNetwork);
  report.add(rounds, told, {get}, 1.0);
  report.add(rounds, one, {plainBus, plainNetwork}, 1.5);
  if (!foreign) return report.add("one read, device", "", "node-bacnet: npm's registry gave none");
  for (const std::size_t candidate : {foreignOne, foreignBatch}) report.add(rounds, candidate);
  report.add(rounds, one, {foreignOne}, std::nullopt);
  report.add(rounds, batch, std::vector<std::size_t>(kBatchSize, foreignOne), 0.2);
  report.add(rounds, batch, {foreignBatch}, std::nullopt);
}

void compareScans(CReport& report) {
  const CDevicePeer device(fmt::format(R"({{"faults": [{{"delayMs": {}}}]}})", kAway.count()));
  const double least = kFullRequests * std::chrono::duration<double>(kAway).count();
  const std::string peer = fmt::format("{} full requests", kFullRequests);
  for (const bool isReadAhead : {true, false}) {
    LinkSetup setup{HELPER_FILE};
    setup.device = device.address();
    setup.points = kScanPoints;
    setup.isReadAhead = isReadAhead;
    CDriverPeer driver(setup);
    driver.read();
    for (int learning = 0; isReadAhead && learning < 2; ++learning) driver.readAll();
    std::vector<double> taken(isReadAhead ? kScans : 1);
    for (double& each : taken) each = secondsOf([&] { driver.readAll(); });
    report.add(fmt::format("{} points{}, 100 ms away", kScanPoints, isReadAhead ? "" : ", not ahead"),
               fmt::format("{:.2f} s", medianOf(taken)), peer, medianOf(taken) / least,
               isReadAhead ? std::optional<double>(1.3) : std::nullopt);
  }
}

void measureHelpers(CReport& report) {
  const CDevicePeer device;
  LinkSetup setup{HELPER_FILE};
  setup.device = device.address();
  setup.isReadAhead = true;

  std::vector<double> starts;
  for (int start = 0; start < kStarts; ++start) {
    CDriverPeer driver(setup);
    driver.read();
    starts.push_back(1000 * driver.age());
  }
  const double start = medianOf(starts);
  report.add("init to the first value", fmt::format("{:.0f} ms", start), fmt::format("{} ms", kLongestStart.count()),
             start / static_cast<double>(kLongestStart.count()), 1.0);

  setup.points = kPointsOfMemory;
  CDriverPeer larger(setup);
  for (int scan = 0; scan < kScans; ++scan) larger.readAll();
  const double memory = residentMebibytes(larger.helper());
  report.add(fmt::format("helper with {} points", kPointsOfMemory), fmt::format("{:.2f} MiB", memory),
             fmt::format("{:.0f} MiB", kMostMemory), memory / kMostMemory, 1.0);

  setup.points = kBatchSize;
  Drivers drivers;
  while (drivers.size() < kHelpers) {
    drivers.push_back(std::make_unique<CDriverPeer>(setup));
    drivers.back()->readBatch();
  }
  const std::string helpers = fmt::format("{} helpers, ", kHelpers);
  const double idle = percentWhile(drivers, [] {});
  report.add(helpers + "idle", fmt::format("{:.2f} %", idle), fmt::format("{:.0f} % of a processor", kMostIdle),
             idle / kMostIdle, 1.0);
  const double polled = percentWhile(drivers, [&] {
    for (const auto& driver : drivers) driver->readBatch();
  });
  report.add(fmt::format("{}{} points each second", helpers, kBatchSize), fmt::format("{:.2f} %", polled));
}

}  // namespace bench
