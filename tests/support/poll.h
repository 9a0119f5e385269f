#pragma once

#include <chrono>
#include <thread>

namespace support {

/// Asks `condition` every few milliseconds until it holds. Result: whether it did within `limit`.
template <typename Condition>
bool waitUntil(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

}  // namespace support
