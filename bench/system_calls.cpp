#include "bench/system_calls.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "bench/driver_peer.h"
#include "tests/support/temp_dir.h"

namespace bench {

namespace {

constexpr int kShortRun = 100;
constexpr int kLongRun = 1100;

// strace writes a line per system call.
std::ptrdiff_t systemCallsOfRun(int reads) {
  const support::TempDir directory;
  const std::string trace = directory.file("trace");
  const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
  if (std::system(fmt::format("strace -qq -o '{}' '{}' --reads {}", trace, program, reads).c_str()) != 0) {
    throw std::runtime_error("strace failed");
  }
  std::ifstream lines(trace);
  return std::count(std::istreambuf_iterator<char>(lines), {}, '\n');
}

}  // namespace

double systemCallsPerRead() {
  const auto more = static_cast<double>(systemCallsOfRun(kLongRun) - systemCallsOfRun(kShortRun));
  // The start makes a few more or fewer from run to run: they show behind the second decimal only.
  return std::round(100 * more / (kLongRun - kShortRun)) / 100;
}

void readOnly(int count) {
  CDriverPeer peer(RESPONDER_FILE);
  for (int i = 0; i < count; ++i) peer.read();
}

}  // namespace bench
