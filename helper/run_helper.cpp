#include "helper/run_helper.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>

#include "helper/bus/bus_server.h"
#include "helper/process/runtime_files.h"
#include "helper/process/standard_streams.h"
#include "helper/request/request_service.h"

namespace helper {

namespace {

constexpr int kFailure = 1;
constexpr int kUsage = 2;

struct CommandLine {
  std::int32_t link = 0;
  bool isForeground = false;
  bool traces = false;
};

int complain(const std::string& message, int status) {
  fmt::print(stderr, "BACnet_Velix: {}\n", message);
  return status;
}

// Result: the status to exit with when there is nothing to serve.
std::optional<int> readCommandLine(int argc, char** argv, const HelperProgram& program, CommandLine& commandLine) {
  CLI::App app(program.summary, "BACnet_Velix");
  app.set_version_flag("--version", "BACnet_Velix " HELPER_VERSION + program.versionSuffix);
  app.add_option("link", commandLine.link, "number of the link to serve")
      ->type_name("N")
      ->required()
      ->check(CLI::Range(0, std::numeric_limits<std::int32_t>::max()));
  app.add_flag("-f", commandLine.isForeground, "stay in the foreground");
  // The driver's command line is fixed; its environment is not.
  app.add_flag("--trace", commandLine.traces, "log every request")->envname("BACNET_VELIX_TRACE");
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& asked) {
    return app.exit(asked);
  } catch (const CLI::ParseError& mistake) {
    return complain(mistake.what(), kUsage);
  }
  return std::nullopt;
}

// A bare name was found along PATH, and then the kernel knows.
std::string directoryOfExecutable(const char* startedAs) {
  const std::filesystem::path path(startedAs);
  if (path.has_parent_path()) return path.parent_path().string();
  std::error_code unknown;
  return std::filesystem::read_symlink("/proc/self/exe", unknown).parent_path().string();
}

int serve(HelperEnvironment& environment, const HelperProgram& program) {
  const auto source = program.makeSource(environment);
  CRequestService service(*source, environment.loop, environment.log);
  const auto decorator = program.decorate ? program.decorate(environment, service) : nullptr;
  CFrameHandler& handler = decorator ? *decorator : static_cast<CFrameHandler&>(service);
  CBusServer server(environment.loop, environment.listener, handler, environment.log);

  std::string error;
  if (!letGoOfStandardStreams(error)) return complain(error, kFailure);
  // Ctrl-C at the starter's terminal is not for this process; started by hand it leads its group and stays. Not a
  // session of its own: the scheduler sets sessions apart, and a call would take a tenth longer.
  ::setpgid(0, 0);
  if (!server.start()) {
    environment.log.write("the bus socket cannot be watched: {}", std::strerror(errno));
    return kFailure;
  }
  return environment.loop.run();
}

int serveLink(const CommandLine& commandLine, const HelperProgram& program, const char* startedAs) {
  CHelperLog log;
  io::CEventLoop loop;
  loop.onSignals({SIGTERM, SIGINT, SIGHUP}, [&](int signal) {
    log.write("stopped by signal {}", signal);
    loop.stop(0);
  });

  CRuntimeFiles files(commandLine.link);
  std::string error;
  if (!files.claim(error) || !log.open(files.logPath(), error)) return complain(error, kFailure);
  log.setTracing(commandLine.traces);
  log.write("pid {} serves {}{}", ::getpid(), files.socketPath(), program.greeting);

  HelperEnvironment environment{loop, log, commandLine.link, files.listener(), directoryOfExecutable(startedAs)};
  try {
    return serve(environment, program);
  } catch (const std::exception& failure) {
    log.write("ended by a failure: {}", failure.what());
    return complain(failure.what(), kFailure);
  }
}

}  // namespace

int runHelper(int argc, char** argv, const HelperProgram& program) try {
  CommandLine commandLine;
  if (const auto status = readCommandLine(argc, argv, program, commandLine)) return *status;

  // The working directory stays: the project's path may be relative to the starter's.
  constexpr int kKeepDirectory = 1;
  constexpr int kKeepStreams = 1;
  if (!commandLine.isForeground && ::daemon(kKeepDirectory, kKeepStreams) != 0) {
    return complain(fmt::format("cannot detach: {}", std::strerror(errno)), kFailure);
  }
  return serveLink(commandLine, program, argv[0]);
} catch (const std::exception& failure) {
  return complain(failure.what(), kFailure);
}

}  // namespace helper
