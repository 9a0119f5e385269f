#pragma once

#include <chrono>

namespace tool {

/// From here on Ctrl-C and SIGTERM end the process with status 130. Called once, from the main thread.
void installInterruptHandler();

/// While one of these lives, the first Ctrl-C or SIGTERM is only noted, so that a long-running command can end in its
/// own way; a second one ends the process after all. Several may live at a time, of any thread.
class CInterruptNote {
 public:
  CInterruptNote();
  ~CInterruptNote();
  CInterruptNote(const CInterruptNote&) = delete;
  CInterruptNote& operator=(const CInterruptNote&) = delete;

  enum class Event { kTime, kInput, kInterrupt };
  /// Sleeps until `time`, the interrupt, or something to read at `input`, if there is one (-1). Result: what came
  /// first.
  Event waitUntil(std::chrono::steady_clock::time_point time, int input) const;
};

/// Whether an interrupt was noted. A bus call that was under way then may have failed for it.
bool isInterrupted();

/// Readable from the first noted interrupt on, for whoever waits for other descriptors, too; -1 before the handler is
/// installed.
int interruptDescriptor();

}  // namespace tool
