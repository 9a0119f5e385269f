#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace helper {

/// One step of what goes back to a client.
struct Step {
  std::chrono::milliseconds wait{0};  ///< from the end of the step before
  std::string bytes = {};
  std::size_t pieceSize = 0;        ///< at most so many bytes a write, with a short gap between; 0: as many as go
  bool closes = false;              ///< the connection is closed once the bytes are with the kernel
  std::function<void()> then = {};  ///< called then, and before a close
};

/// Everything that a request brings back, in order. Nothing at all is a request without reply.
using Delivery = std::vector<Step>;

}  // namespace helper
