#pragma once

#include <atomic>
#include <memory>

namespace tool {

/// Lets only so many in at a time. Thread-safe.
class CGate {
 public:
  explicit CGate(int places) : free_(std::make_shared<std::atomic<int>>(places)) {}

  /// Whoever holds it is inside; null where it is full. It may outlive the gate.
  using Pass = std::shared_ptr<void>;
  Pass enter() {
    if (free_->fetch_sub(1) > 0) return {free_.get(), [free = free_](void*) { ++*free; }};
    ++*free_;
    return nullptr;
  }

 private:
  std::shared_ptr<std::atomic<int>> free_;
};

}  // namespace tool
