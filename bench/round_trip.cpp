// round_trip [STACKS]: STACKS is a folder with node_modules, where the foreign client is.
// Measures one call through the plug-in beside what else exchanges small messages on one machine: everything
// interleaved, and everything on one processor, so that the cost itself is seen and not where the scheduler puts it.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

#include "bench/child_process.h"
#include "bench/driver_peer.h"
#include "bench/exchange.h"
#include "bench/modbus_peer.h"
#include "bench/plain_exchange.h"
#include "bench/project_load.h"
#include "bench/redis_peer.h"
#include "bench/report.h"
#include "bench/rounds.h"
#include "bench/system_calls.h"
#include "bench/whole_road.h"

namespace {

using bench::kBatchSize;

constexpr int kRounds = 2000;
constexpr int kCallsPerSlice = 50;
constexpr int kProjectRounds = 9;
constexpr int kPointsPerSlice = 20000;
constexpr int kProjectLink = 1;
constexpr double kMostSystemCalls = 3;

void compareRoundTrips(bench::CReport& report) {
  constexpr auto kUnixSocket = bench::CPlainExchange::Over::kUnixSocket;
  bench::CPlainExchange floorOfOne(kUnixSocket, bench::readRequestFrame(1).size(), bench::readReplyFrame(1).size());
  bench::CPlainExchange floorOfBatch(kUnixSocket, bench::readRequestFrame(kBatchSize).size(),
                                     bench::readReplyFrame(kBatchSize).size());
  bench::CDriverPeer lean({RESPONDER_FILE});
  bench::CDriverPeer helper({SIMULATOR_FILE});
  bench::CRedisPeer redis;
  bench::CModbusPeer modbus;

  bench::CRounds rounds;
  const auto add = [&rounds](const char* name, std::function<void()> call) {
    return rounds.add(name, bench::sliceOf(kCallsPerSlice, std::move(call)));
  };
  const std::size_t plainOne = add("plain write/read, one read", [&] { floorOfOne.exchange(); });
  const std::size_t plainBatch = add("plain write/read, batch of 11", [&] { floorOfBatch.exchange(); });
  const std::size_t get = add("hiredis GET", [&] { redis.get(); });
  const std::size_t mget = add("hiredis MGET 11", [&] { redis.getBatch(); });
  const std::size_t registers = add("libmodbus, 2 registers", [&] { modbus.read(); });
  const std::size_t leanOne = add("one read, lean responder", [&] { lean.read(); });
  const std::size_t leanBatch = add("batch of 11, lean responder", [&] { lean.readBatch(); });
  const std::size_t helperOne = add("one read, simulator", [&] { helper.read(); });
  const std::size_t helperBatch = add("batch of 11, simulator", [&] { helper.readBatch(); });
  rounds.run(kRounds);

  for (const std::size_t candidate : {plainOne, plainBatch, get, mget, registers}) {
    report.add(rounds, candidate);
  }
  const auto against = [&](std::size_t candidate, std::size_t peer, std::optional<double> limit) {
    report.add(rounds, candidate, {peer}, limit);
  };
  against(leanOne, plainOne, 1.25);
  against(leanOne, get, 1.0);
  against(leanOne, registers, 0.65);
  against(leanBatch, plainBatch, std::nullopt);
  against(leanBatch, mget, 1.15);
  against(helperOne, plainOne, std::nullopt);
  against(helperOne, get, 1.0);
  against(helperBatch, plainBatch, std::nullopt);
  against(helperBatch, mget, 1.15);
}

// Microseconds per point, over as many loads as make a slice long enough to be measured.
bench::Slice loadsOf(int points, const std::function<double()>& load) {
  const int loads = std::max(1, kPointsPerSlice / points);
  return [=] {
    double seconds = 0;
    for (int i = 0; i < loads; ++i) seconds += load();
    return 1e6 * seconds / loads / points;
  };
}

void compareProjectLoads(bench::CReport& report) {
  const support::TempDir directory;
  bench::CRounds rounds;
  for (const int points : {1000, 10000, 100000}) {
    const std::string path = directory.file(std::to_string(points));
    bench::writeProject(path, kProjectLink, points);
    rounds.add(fmt::format("project of {} points, per point", points),
               loadsOf(points, [=] { return bench::loadWithDriver(path, kProjectLink, points); }));
    rounds.add("plain pugixml, map and blocks", loadsOf(points, [=] { return bench::loadWithPugixml(path, points); }));
  }
  rounds.run(kProjectRounds);

  for (std::size_t i = 0; i < rounds.size(); i += 2) report.add(rounds, i, {i + 1}, 1.3);
  const std::size_t largest = rounds.size() - 2;
  report.add(rounds, largest, {largest - 2}, 1.3);  // linear: a point costs the same
}

int run(int argc, char** argv) {
  setenv("SHELL", "/bin/sh", 0);  // what the driver starts its helper with
  bench::runOnOneProcessor();
  // Standard output is where the driver logs: the table gets a stream of its own.
  std::FILE* const table = fdopen(dup(STDOUT_FILENO), "w");
  if (table == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) throw std::runtime_error("no output");

  for (const bench::Side side : {bench::Side::kDriver, bench::Side::kHelper}) {
    if (argc != 3 || std::string(argv[1]) != bench::readsOption(side)) continue;
    bench::readOnly(side, std::atoi(argv[2]));
    return 0;
  }
  bench::CReport report(table);
  compareRoundTrips(report);
  report.add("one read, lean responder", "", "the driver's system calls", systemCallsPerRead(bench::Side::kDriver),
             kMostSystemCalls);
  report.add("one read, simulator", "", "the helper's system calls", systemCallsPerRead(bench::Side::kHelper),
             kMostSystemCalls);
  compareProjectLoads(report);
  bench::compareWholeRoad(report, argc == 2 ? argv[1] : "");
  bench::compareScans(report);
  bench::measureHelpers(report);
  return 0;
}

}  // namespace

int main(int argc, char** argv) try { return run(argc, argv); } catch (const std::exception& failure) {
  fmt::print(stderr, "round_trip: {}\n", failure.what());
  return 1;
}
