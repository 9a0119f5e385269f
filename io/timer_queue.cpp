#include "io/timer_queue.h"

namespace io {

struct CTimerQueue::Entry : CTimer::Entry {
  Entry(const std::shared_ptr<Waiting>& timers, Key itsKey) : waiting(timers), key(itsKey) {}
  ~Entry() override {
    // Taken out before it is destroyed: what the callback owns may hold other timers of the same queue.
    if (const auto timers = waiting.lock()) const auto removed = timers->extract(key);
  }
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;

  std::weak_ptr<Waiting> waiting;
  Key key;
};

CTimerQueue::CTimerQueue() : waiting_(std::make_shared<Waiting>()) {}

CTimer CTimerQueue::add(TimePoint time, std::function<void()> callback) {
  const Key key{time, next_++};
  auto entry = std::make_unique<Entry>(waiting_, key);
  waiting_->emplace(key, std::move(callback));
  return CTimer(std::move(entry));
}

std::optional<TimePoint> CTimerQueue::first() const {
  if (waiting_->empty()) return std::nullopt;
  return waiting_->begin()->first.first;
}

void CTimerQueue::runDue(TimePoint now, const std::function<bool()>& isOver) {
  const std::uint64_t end = next_;
  while (!waiting_->empty() && !isOver()) {
    const Key& key = waiting_->begin()->first;
    if (key.first > now || key.second >= end) return;
    const auto due = waiting_->extract(waiting_->begin());
    due.mapped()();
  }
}

}  // namespace io
