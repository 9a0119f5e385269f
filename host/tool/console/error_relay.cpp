#include "host/tool/console/error_relay.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <string_view>

#include "host/tool/console/quiet_thread.h"
#include "host/tool/failure.h"

namespace tool {

namespace {

int errorDescriptor = STDERR_FILENO;  // where standard error is while its number is the pipe's

void redirect(int descriptor) {
  std::fflush(stdout);
  dup2(descriptor, STDOUT_FILENO);
  dup2(descriptor, STDERR_FILENO);
}

// What cannot be written is dropped: there is no other place for it.
void passOn(std::string_view text, int target) {
  while (!text.empty()) {
    const ssize_t written = write(target, text.data(), text.size());
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

CErrorRelay::CErrorRelay()
    : target_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)), source_(-1), stop_(eventfd(0, EFD_CLOEXEC)) {
  std::array<int, 2> ends{};
  if (target_ < 0 || stop_ < 0 || pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0)
    throw CFailure(ExitStatus::kInternal, "no descriptor is free", "raise the limit (ulimit -n)");
  source_ = ends[0];
  fcntl(ends[1], F_SETFL, 0);  // who writes waits
  redirect(ends[1]);
  errorDescriptor = target_;
  close(ends[1]);
  thread_ = startWithoutSignals([this] { run(); });
}

CErrorRelay::~CErrorRelay() {
  redirect(target_);
  errorDescriptor = STDERR_FILENO;
  eventfd_write(stop_, 1);
  thread_.join();
  for (const int descriptor : {target_, source_, stop_}) close(descriptor);
}

void CErrorRelay::run() const {
  std::array<char, 4096> chunk{};
  for (;;) {
    std::array<pollfd, 2> entries = {{{source_, POLLIN, 0}, {stop_, POLLIN, 0}}};
    poll(entries.data(), entries.size(), -1);
    const ssize_t count = read(source_, chunk.data(), chunk.size());
    if (count > 0) passOn({chunk.data(), static_cast<std::size_t>(count)}, target_);
    if (count <= 0 && entries[1].revents != 0) return;
  }
}

void say(const std::string& line) {
  passOn(line + '\n', errorDescriptor);
}

void complain(const std::string& line) {
  say("hmi-host: " + line);
}

void sayProgress(const std::string& line) {
  if (isatty(errorDescriptor) == 1) passOn('\r' + line + "\x1b[K", errorDescriptor);
}

}  // namespace tool
