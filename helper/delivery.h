#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace helper {

/// What follows a step once its bytes are with the kernel.
struct Aftermath {
  enum Kind {
    kServe,        ///< go on
    kCloseClient,  ///< close this client's connection
    kHang,         ///< serve nobody any more; the process stays until it is told to stop
    kExit,         ///< end in order, with `exitStatus`
    kKill,         ///< end at once by SIGKILL, leaving socket and pid file behind
  };
  Kind kind = kServe;
  int exitStatus = 0;
};

/// One step of what goes back to a client.
struct Step {
  std::chrono::milliseconds wait{0};  ///< from the end of the step before
  std::string bytes = {};
  std::size_t pieceSize = 0;  ///< at most so many bytes a write, with a short gap between; 0: as many as go
  Aftermath aftermath = {};
};

/// Everything that a request brings back, in order. Nothing at all is a request without reply.
using Delivery = std::vector<Step>;

}  // namespace helper
