#pragma once

#include <vector>

namespace tool {

enum class Key { kUp, kDown, kPageUp, kPageDown, kHome, kEnd, kFailuresFirst, kQuit };

/// Single keys from the terminal that the process belongs to, without echo or Enter, while this object lives; Ctrl-C
/// stays what it is. A process in the terminal's background, or without one, gets none. One object at a time.
class CKeyboard {
 public:
  CKeyboard();
  ~CKeyboard();
  CKeyboard(const CKeyboard&) = delete;
  CKeyboard& operator=(const CKeyboard&) = delete;

  /// Readable when a key has been pressed; -1 when there are no keys to be had.
  int descriptor() const { return descriptor_; }
  /// The keys pressed since the last time that mean something. Does not block.
  std::vector<Key> read();

 private:
  int descriptor_;
};

/// Gives the terminal the settings back that it had before a keyboard. Async-signal-safe.
void restoreTerminal();

}  // namespace tool
