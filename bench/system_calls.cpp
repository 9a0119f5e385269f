#include "bench/system_calls.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "bench/driver_peer.h"
#include "tests/support/temp_dir.h"

namespace bench {

namespace {

constexpr int kShortRun = 100;
constexpr int kLongRun = 1100;

// strace writes a file for each process, with a line for each system call.
// Result: whether `text` is that of a process that became `program`.
bool isTraceOf(const std::string& text, const std::string& program) {
  const std::size_t at = text.rfind("execve(");
  if (at == std::string::npos) return false;
  const std::string path = text.substr(at, text.find("\",", at) - at);
  return path.substr(path.rfind('/') + 1) == program;
}

std::ptrdiff_t systemCallsOfRun(Side side, int reads) {
  const support::TempDir directory;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe");
  const std::string command = fmt::format("strace -qq -ff -e signal=none -o '{}' '{}' {} {}", directory.file("trace"),
                                          program.string(), readsOption(side), reads);
  const std::string counted = side == Side::kDriver ? program.filename().string() : "BACnet_Velix";
  if (std::system(command.c_str()) != 0) throw std::runtime_error("strace failed");

  for (const auto& file : std::filesystem::directory_iterator(directory.path())) {
    const std::string text = support::readFile(file.path());
    if (isTraceOf(text, counted)) return std::count(text.begin(), text.end(), '\n');
  }
  throw std::runtime_error("strace did not follow");
}

}  // namespace

double systemCallsPerRead(Side side) {
  const auto more = static_cast<double>(systemCallsOfRun(side, kLongRun) - systemCallsOfRun(side, kShortRun));
  // The start makes a few more or fewer from run to run: they show behind the second decimal only.
  return std::round(100 * more / (kLongRun - kShortRun)) / 100;
}

void readOnly(Side side, int count) {
  CDriverPeer peer({side == Side::kDriver ? RESPONDER_FILE : SIMULATOR_FILE});
  for (int i = 0; i < count; ++i) peer.read();
}

const char* readsOption(Side side) {
  return side == Side::kDriver ? "--reads" : "--reads-of-helper";
}

}  // namespace bench
