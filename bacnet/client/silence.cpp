#include "bacnet/client/silence.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace bacnet {

namespace {

constexpr io::Duration kFirstWait = std::chrono::seconds(1);
constexpr io::Duration kLongestWait = std::chrono::seconds(30);
constexpr io::Duration kLongestWantedWait = std::chrono::seconds(8);

}  // namespace

CSilence::CSilence(io::CTimers& timers, std::function<void()> probe, std::function<void()> lasts)
    : timers_(timers), probe_(std::move(probe)), lasts_(std::move(lasts)) {}

void CSilence::begin() {
  if (isOn()) return;
  probes_ = 0;
  wait_ = kFirstWait;
  last_ = timers_.now();
  setDue(last_ + wait_);
}

void CSilence::wanted() {
  const io::TimePoint soon = last_ + kLongestWantedWait;
  if (isOn() && soon < due_) setDue(soon);
}

CSilence::Ended CSilence::end() {
  if (!isOn()) return Ended::kWasNone;
  timer_.cancel();
  return probes_ < 2 ? Ended::kAtOnce : Ended::kLater;
}

void CSilence::tick() {
  ++probes_;
  wait_ = std::min(wait_ * 2, kLongestWait);
  last_ = timers_.now();
  setDue(last_ + wait_);
  if (probes_ == 2) lasts_();
  probe_();
}

void CSilence::setDue(io::TimePoint due) {
  due_ = due;
  timer_ = timers_.at(due, [this] { tick(); });
}

}  // namespace bacnet
