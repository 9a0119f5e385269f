#include <fmt/format.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>

#include "cbl/net/descriptor.h"
#include "helper/bus_server.h"
#include "helper/fault_script.h"
#include "helper/helper_log.h"
#include "helper/request_service.h"
#include "helper/runtime_files.h"
#include "helper/simulated_points.h"
#include "helper/standard_streams.h"

namespace {

constexpr int kFailure = 1;
constexpr int kUsage = 2;

struct CommandLine {
  std::int32_t link = 0;
  bool isForeground = false;
};

int complain(const std::string& message, int status) {
  fmt::print(stderr, "BACnet_Velix: {}\n", message);
  return status;
}

// Result: the status to exit with when there is nothing to serve.
std::optional<int> readCommandLine(int argc, char** argv, CommandLine& commandLine) {
  CLI::App app("Development helper of a BACnet/IP link: a bus server with simulated points", "BACnet_Velix");
  app.set_version_flag("--version", "BACnet_Velix " HELPER_VERSION ", simulated points");
  app.add_option("link", commandLine.link, "number of the link to serve")
      ->type_name("N")
      ->required()
      ->check(CLI::Range(0, std::numeric_limits<std::int32_t>::max()));
  app.add_flag("-f", commandLine.isForeground, "stay in the foreground");
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& asked) {
    return app.exit(asked);
  } catch (const CLI::ParseError& mistake) {
    return complain(mistake.what(), kUsage);
  }
  return std::nullopt;
}

// From here on the signals that end the helper arrive at the descriptor only.
cbl::CDescriptor takeSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&signals, signal);
  if (::sigprocmask(SIG_BLOCK, &signals, nullptr) != 0) return cbl::CDescriptor();
  return cbl::CDescriptor(::signalfd(-1, &signals, SFD_CLOEXEC));
}

// The directory that the executable was started from, which for the driver is the project's; a bare name was found
// along PATH, and then the kernel knows.
std::string directoryOfExecutable(const char* startedAs) {
  const std::filesystem::path path(startedAs);
  if (path.has_parent_path()) return path.parent_path().string();
  std::error_code unknown;
  return std::filesystem::read_symlink("/proc/self/exe", unknown).parent_path().string();
}

int serve(const CommandLine& commandLine, const char* startedAs) {
  const cbl::CDescriptor signals = takeSignals();
  if (signals.number() < 0) return complain(fmt::format("signals: {}", std::strerror(errno)), kFailure);

  helper::CRuntimeFiles files(commandLine.link);
  helper::CHelperLog log;
  std::string error;
  if (!files.claim(error) || !log.open(files.logPath(), error)) return complain(error, kFailure);
  log.write("pid {} serves {}", ::getpid(), files.socketPath());

  helper::CFaultScript script;
  if (!script.load(directoryOfExecutable(startedAs), error)) log.write("{}", error);
  if (!helper::letGoOfStandardStreams(error)) return complain(error, kFailure);
  setsid();  // Ctrl-C at the starter's terminal is not for this process; started by hand it leads its group and stays

  helper::CSimulatedPoints points;
  helper::CRequestService service(points, script, log);
  helper::CBusServer server(files.listener(), signals.number(), service, log);
  return server.run();
}

}  // namespace

int main(int argc, char** argv) try {
  CommandLine commandLine;
  if (const auto status = readCommandLine(argc, argv, commandLine)) return *status;

  // The working directory stays: the project's path may be relative to the starter's.
  constexpr int kKeepDirectory = 1;
  constexpr int kKeepStreams = 1;
  if (!commandLine.isForeground && ::daemon(kKeepDirectory, kKeepStreams) != 0) {
    return complain(fmt::format("cannot detach: {}", std::strerror(errno)), kFailure);
  }
  return serve(commandLine, argv[0]);
} catch (const std::exception& failure) {
  return complain(failure.what(), kFailure);
}
