#include "host/tool/console/output.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <linux/close_range.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "host/tool/failure.h"

namespace tool {

namespace {

// The first descriptor behind the three standard ones.
constexpr int kFirstPrivate = STDERR_FILENO + 1;

const char* colourOf(Tone tone) {
  switch (tone) {
    case Tone::kPlain:
      return "";
    case Tone::kGood:
      return "\x1b[32m";
    case Tone::kWarning:
      return "\x1b[33m";
    case Tone::kBad:
      return "\x1b[31m";
    case Tone::kFaint:
      return "\x1b[2m";
  }
  return "";
}

bool isWanted(const char* variable) {
  const char* const value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

void silence(int stream) {
  const int null = open("/dev/null", O_RDWR);
  if (null < 0 || null == stream) return;
  dup2(null, stream);
  close(null);
}

}  // namespace

COutput::COutput() {
  std::cout.flush();
  std::fflush(stdout);
  if (fcntl(STDOUT_FILENO, F_GETFD) < 0)
    throw CFailure(ExitStatus::kInternal, "standard output is closed", "open it: hmi-host ... > FILE");
  silence(STDIN_FILENO);
  if (fcntl(STDERR_FILENO, F_GETFD) < 0) silence(STDERR_FILENO);

  // An old kernel that lacks the call leaves inherited descriptors as they are; the driver closes them as well.
  close_range(kFirstPrivate, ~0U, CLOSE_RANGE_CLOEXEC);
  descriptor_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, kFirstPrivate);
  if (descriptor_ < 0) throw CFailure(ExitStatus::kInternal, "no descriptor is free", "raise the limit (ulimit -n)");
  dup2(STDERR_FILENO, STDOUT_FILENO);
  std::setvbuf(stdout, nullptr, _IOLBF, 0);  // log lines appear in step with the tool's own

  const char* const terminal = std::getenv("TERM");
  isTerminal_ = isatty(descriptor_) == 1 && terminal != nullptr && std::strcmp(terminal, "dumb") != 0;
  hasColour_ = isTerminal_ && !isWanted("NO_COLOR");
}

COutput::~COutput() {
  close(descriptor_);
}

void COutput::write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor_, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EPIPE) {
      throw ReaderGone();
    } else if (errno != EINTR) {
      throw CFailure(ExitStatus::kInternal, fmt::format("cannot write the output: {}", std::strerror(errno)),
                     "make room, or send it elsewhere");
    }
  }
}

COutput::Size COutput::size() const {
  winsize window{};
  if (ioctl(descriptor_, TIOCGWINSZ, &window) != 0 || window.ws_col == 0 || window.ws_row == 0) return {80, 24};
  return {window.ws_col, window.ws_row};
}

std::string COutput::paint(std::string text, Tone tone) const {
  return hasColour_ && tone != Tone::kPlain ? colourOf(tone) + std::move(text) + "\x1b[0m" : text;
}

}  // namespace tool
