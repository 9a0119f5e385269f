#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "bench/child_process.h"

namespace bench {

/// node-bacnet, a BACnet stack in JavaScript, in a process of its own that reads a device's points. Everything
/// throws std::runtime_error when it does not answer.
class CForeignClient {
 public:
  /// `stacks` is a folder with node_modules.
  CForeignClient(const std::string& stacks, const std::string& device);

  /// Microseconds a call, of so many one after the other that read so many points each, as it has measured itself.
  double read(int calls, int points);

 private:
  using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

  std::string line();

  File requests_{nullptr, std::fclose};
  File answers_{nullptr, std::fclose};
  std::unique_ptr<CChildProcess> program_;
};

}  // namespace bench
