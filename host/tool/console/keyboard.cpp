#include "host/tool/console/keyboard.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <string_view>

namespace tool {

namespace {

struct KeySequence {
  std::string_view bytes;
  Key key;
};

constexpr KeySequence kSequences[] = {
    {"\x1b[A", Key::kUp},        {"\x1bOA", Key::kUp},  {"k", Key::kUp},           {"\x1b[B", Key::kDown},
    {"\x1bOB", Key::kDown},      {"j", Key::kDown},     {"\x1b[5~", Key::kPageUp}, {"b", Key::kPageUp},
    {"\x1b[6~", Key::kPageDown}, {" ", Key::kPageDown}, {"\x1b[H", Key::kHome},    {"\x1b[1~", Key::kHome},
    {"g", Key::kHome},           {"\x1b[F", Key::kEnd}, {"\x1b[4~", Key::kEnd},    {"G", Key::kEnd},
    {"f", Key::kFailuresFirst},  {"q", Key::kQuit},
};

int terminal = -1;  // while its settings are a keyboard's
termios settingsBefore;

bool isForeground(int descriptor) {
  return tcgetpgrp(descriptor) == getpgrp();
}

}  // namespace

CKeyboard::CKeyboard() : descriptor_(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
  if (descriptor_ < 0) return;
  if (!isForeground(descriptor_) || tcgetattr(descriptor_, &settingsBefore) != 0) {
    close(descriptor_);
    descriptor_ = -1;
    return;
  }
  termios settings = settingsBefore;
  settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  settings.c_cc[VMIN] = 1;
  settings.c_cc[VTIME] = 0;
  terminal = descriptor_;
  tcsetattr(descriptor_, TCSANOW, &settings);
}

CKeyboard::~CKeyboard() {
  restoreTerminal();
  terminal = -1;
  if (descriptor_ >= 0) close(descriptor_);
}

std::vector<Key> CKeyboard::read() {
  std::array<char, 64> chunk{};
  const ssize_t count = ::read(descriptor_, chunk.data(), chunk.size());
  if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) {  // the terminal has gone
    close(descriptor_);
    terminal = descriptor_ = -1;
  }
  std::vector<Key> keys;
  std::string_view rest(chunk.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  while (!rest.empty()) {
    const auto pressed = std::find_if(std::begin(kSequences), std::end(kSequences), [&](const KeySequence& each) {
      return rest.substr(0, each.bytes.size()) == each.bytes;
    });
    const bool isKnown = pressed != std::end(kSequences);
    if (isKnown) keys.push_back(pressed->key);
    rest.remove_prefix(isKnown ? pressed->bytes.size() : 1);
  }
  return keys;
}

// From the background it would stop the process, and the shell has set the terminal up for itself.
void restoreTerminal() {
  if (terminal >= 0 && isForeground(terminal)) tcsetattr(terminal, TCSANOW, &settingsBefore);
}

}  // namespace tool
