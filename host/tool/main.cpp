#include <fmt/format.h>

#include <csignal>
#include <cstdio>
#include <exception>

#include "host/tool/command_line.h"
#include "host/tool/interrupt.h"
#include "host/tool/output.h"

namespace tool {

void complain(const std::string& line) {
  // Not the stream's own exceptions: there is no other place to tell that standard error is gone.
  const std::string text = fmt::format("hmi-host: {}\n", line);
  std::fwrite(text.data(), 1, text.size(), stderr);
}

namespace {

ExitStatus run(int argc, char** argv) {
  Options options;
  Action action;
  if (const auto status = readCommandLine(argc, argv, options, action)) return *status;

  std::signal(SIGPIPE, SIG_IGN);  // a helper that goes away, or a reader
  COutput output;
  installInterruptHandler();
  return action(options, output);
}

ExitStatus runAndComplain(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const CFailure& failure) {
    complain(failure.what());
    if (failure.status() == ExitStatus::kUnreachable) complain("'hmi-host doctor' examines each step");
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
