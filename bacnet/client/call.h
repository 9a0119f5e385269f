#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "bacnet/client/device_client.h"
#include "bacnet/client/work.h"

namespace bacnet {

/// Places of items in their call, ascending.
using Batch = std::vector<std::size_t>;

/// One caller's items on their way: which wait, which have an outcome, and when the caller is answered.
template <typename Item, typename Outcome>
class CCall : public CWork {
 public:
  using Done = std::function<void(std::vector<Outcome>)>;

  CCall(std::vector<Item> items, Done done)
      : items_(std::move(items)),
        outcomes_(items_.size()),
        isSettled_(items_.size()),
        unsettled_(items_.size()),
        done_(std::move(done)) {
    waiting_.reserve(items_.size());
    for (std::size_t i = items_.size(); i > 0; --i) waiting_.push_back(i - 1);
  }

  bool hasMore() const override { return !waiting_.empty(); }
  bool isOver() const { return done_ == nullptr; }

  void fail(const Failure& failure) override {
    waiting_.clear();
    settleRest(failure);
  }

  /// Answers the caller; what still waits does so for itself.
  void settleRest(const Failure& failure) {
    for (std::size_t i = 0; i < items_.size(); ++i) settle(i, Outcome(failure));
    finish();
  }
  void dropWaiting() { waiting_.clear(); }

  void setDeadline(io::CTimer timer) { deadline_ = std::move(timer); }

  /// Answers the caller if every item has its outcome.
  void finish() {
    if (unsettled_ > 0 || isOver()) return;
    deadline_.cancel();
    const auto done = std::exchange(done_, nullptr);
    done(std::move(outcomes_));
  }

  const Item& item(std::size_t i) const { return items_[i]; }

  bool isSettled(std::size_t i) const { return isSettled_[i]; }
  /// Nothing if it is settled already.
  void settle(std::size_t i, Outcome outcome) {
    if (isSettled_[i]) return;
    isSettled_[i] = true;
    --unsettled_;
    outcomes_[i] = std::move(outcome);
  }

 protected:
  std::vector<std::size_t> waiting_;  // the next one at the end

  void putBack(const Batch& batch) { waiting_.insert(waiting_.end(), batch.rbegin(), batch.rend()); }

  /// How many items a request of this call may have; less than the device takes once a batch of it was spoilt.
  std::size_t most_ = SIZE_MAX;
  void split(std::size_t items) { most_ = std::max<std::size_t>(items / 2, 1); }

 private:
  std::vector<Item> items_;
  std::vector<Outcome> outcomes_;
  std::vector<bool> isSettled_;
  std::size_t unsettled_;
  Done done_;
  io::CTimer deadline_;
};

}  // namespace bacnet
