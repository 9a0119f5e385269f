// The steps of one exchange by themselves, and the project file.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/exchange.h"
#include "bench/project_load.h"
#include "cbl/bus/bus_protocol.h"
#include "cbl/bus/crc32.h"
#include "cbl/bus/velix_message.h"
#include "cbl/z/lz4_buffer.h"
#include "tests/support/temp_dir.h"

namespace {

// A reply as the driver gets it: code and the words of `points` REAL points. From 56 points on its frame is compressed.
void fillReply(cbl::CVelixMessage& reply, std::int64_t points) {
  reply.emplace_back("func@bac_multi_read");
  reply.emplace_back("0");
  for (std::int64_t i = 0; i < points; ++i) reply.emplace_back(bench::kRealWords);
}

std::string bodyOf(std::int64_t points) {
  cbl::CVelixMessage reply;
  fillReply(reply, points);
  std::string body;
  reply.dump(body);
  return body;
}

void dump(benchmark::State& state) {
  cbl::CVelixMessage reply;
  fillReply(reply, state.range(0));
  std::string body;
  for (auto _ : state) benchmark::DoNotOptimize(reply.dump(body));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(body.size()));
}
BENCHMARK(dump)->Arg(1)->Arg(11)->Arg(300);

void load(benchmark::State& state) {
  const std::string body = bodyOf(state.range(0));
  for (auto _ : state) {
    cbl::CVelixMessage reply;
    benchmark::DoNotOptimize(reply.load(body));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(body.size()));
}
BENCHMARK(load)->Arg(1)->Arg(11)->Arg(300);

void pack(benchmark::State& state) {
  cbl::CVelixMessage reply;
  fillReply(reply, state.range(0));
  cbl::CBusProtocol protocol;
  std::string frame;
  for (auto _ : state) benchmark::DoNotOptimize(protocol.pack(reply, frame, 1));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(frame.size()));
}
BENCHMARK(pack)->Arg(1)->Arg(11)->Arg(300);

void unpack(benchmark::State& state) {
  cbl::CVelixMessage reply;
  fillReply(reply, state.range(0));
  cbl::CBusProtocol protocol;
  std::string frame;
  const std::int32_t length = protocol.pack(reply, frame, 1);
  cbl::BusFrameInfo info;
  for (auto _ : state) benchmark::DoNotOptimize(protocol.findAndUnpack(frame.data(), length, info));
  state.SetBytesProcessed(state.iterations() * length);
}
BENCHMARK(unpack)->Arg(1)->Arg(11)->Arg(300);

void checksum(benchmark::State& state) {
  const std::string bytes(static_cast<std::size_t>(state.range(0)), 'x');
  for (auto _ : state) benchmark::DoNotOptimize(cbl::crc32(bytes.data(), bytes.size()));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(checksum)->Arg(64)->Arg(256)->Arg(4096);

void compress(benchmark::State& state) {
  const std::string body = bodyOf(state.range(0));
  std::string out;
  for (auto _ : state) benchmark::DoNotOptimize(cbl::lz4Buffer(body, out, cbl::Lz4Direction::kCompress));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(body.size()));
}
BENCHMARK(compress)->Arg(100)->Arg(5000);

void decompress(benchmark::State& state) {
  const std::string body = bodyOf(state.range(0));
  std::string carried;
  cbl::lz4Buffer(body, carried, cbl::Lz4Direction::kCompress);
  std::string out;
  for (auto _ : state) benchmark::DoNotOptimize(cbl::lz4Buffer(carried, out, cbl::Lz4Direction::kDecompress));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(body.size()));
}
BENCHMARK(decompress)->Arg(100)->Arg(5000);

// Time is what the load itself takes; freeing it again is not counted.
template <typename Load>
void measureLoads(benchmark::State& state, Load load) {
  const support::TempDir directory;
  const std::string path = directory.file("BACnetLabel.xml");
  const int points = static_cast<int>(state.range(0));
  bench::writeProject(path, 1, points);
  for (auto _ : state) state.SetIterationTime(load(path, points));
  state.SetItemsProcessed(state.iterations() * points);
}

void projectLoad(benchmark::State& state) {
  measureLoads(state, [](const std::string& path, int points) { return bench::loadWithDriver(path, 1, points); });
}
BENCHMARK(projectLoad)->Arg(1000)->Arg(10000)->Arg(100000)->UseManualTime()->Unit(benchmark::kMillisecond);

void plainPugixml(benchmark::State& state) {
  measureLoads(state, bench::loadWithPugixml);
}
BENCHMARK(plainPugixml)->Arg(1000)->Arg(10000)->Arg(100000)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
