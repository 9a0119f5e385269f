#include <fmt/format.h>

#include <csignal>
#include <exception>

#include "host/tool/command_line.h"
#include "host/tool/console/error_relay.h"
#include "host/tool/console/interrupt.h"
#include "host/tool/console/output.h"

namespace tool {

namespace {

ExitStatus run(int argc, char** argv, Options& options) {
  Action action;
  if (const auto status = readCommandLine(argc, argv, options, action)) return *status;

  std::signal(SIGPIPE, SIG_IGN);  // a helper that goes away, or a reader
  COutput output;
  const CErrorRelay relay;
  installInterruptHandler();
  return action.run(options, output);
}

ExitStatus runAndComplain(int argc, char** argv) {
  Options options;
  try {
    return run(argc, argv, options);
  } catch (const CFailure& failure) {
    complain(failure.what());
    const bool isOfLink = failure.subject() == Subject::kLink && !options.project.empty();
    if (failure.status() == ExitStatus::kUnreachable && isOfLink) complain("'hmi-host doctor' examines each step");
    return failure.status();
  } catch (const ReaderGone&) {
    return ExitStatus::kWell;  // it has had what it wanted
  } catch (const std::exception& error) {
    complain(fmt::format("internal error: {}; please report it", error.what()));
    return ExitStatus::kInternal;
  }
}

}  // namespace

}  // namespace tool

int main(int argc, char** argv) {
  return static_cast<int>(tool::runAndComplain(argc, argv));
}
