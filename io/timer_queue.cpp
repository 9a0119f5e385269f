#include "io/timer_queue.h"

#include <utility>

namespace io {

CTimer CTimerQueue::add(TimePoint time, std::function<void()> callback) {
  const TimerKey key{time, next_++};
  waiting_->emplace(key, std::move(callback));
  return {waiting_, key};
}

std::optional<TimePoint> CTimerQueue::first() const {
  if (waiting_->empty()) return std::nullopt;
  return waiting_->begin()->first.first;
}

void CTimerQueue::runDue(TimePoint now, const std::function<bool()>& isOver) {
  const std::uint64_t end = next_;
  while (!waiting_->empty() && !isOver()) {
    const TimerKey& key = waiting_->begin()->first;
    if (key.first > now || key.second >= end) return;
    const auto due = waiting_->extract(waiting_->begin());
    due.mapped()();
  }
}

}  // namespace io
