#include "bacnet/client/subscriptions.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "bacnet/client/answers.h"
#include "bacnet/client/batch_limit.h"
#include "bacnet/client/device_text.h"
#include "bacnet/client/present_value.h"
#include "bacnet/number/failures.h"

namespace bacnet {

namespace {

constexpr double kGoldenRatio = 0.6180339887498949;  // its multiples' fractions lie evenly, however many there are

}  // namespace

/// The queue's view of what is due.
class CSubscriptions::CSubscribing : public CWork {
 public:
  explicit CSubscribing(CSubscriptions& owner) : owner_(owner) {}

  std::optional<Request> next() override { return owner_.nextRequest(); }
  bool hasMore() const override { return owner_.isDue(); }
  void fail(const Failure&) override {}  // stays due

 private:
  CSubscriptions& owner_;
};

CSubscriptions::CSubscriptions(io::CTimers& timers, CDeviceQueue& queue, const DeviceState& state, Compare compare)
    : timers_(timers),
      queue_(queue),
      state_(state),
      compare_(std::move(compare)),
      subscribing_(std::make_shared<CSubscribing>(*this)) {}

CSubscriptions::~CSubscriptions() = default;

void CSubscriptions::add(const ObjectId& object, bool confirmed) {
  const auto [entry, isNew] = points_.try_emplace(object);
  if (!isNew && entry->second.isConfirmed == confirmed) return;
  entry->second.isConfirmed = confirmed;
  setDue(*entry, timers_.now());
  if (!compareTimer_) compareTimer_ = timers_.after(kCompareEvery, [this] { compareSome(); });
  resume();
}

void CSubscriptions::setDue(Points::value_type& entry, io::TimePoint due) {
  due_.erase({entry.second.due, entry.first});
  entry.second.due = due;
  due_.insert({due, entry.first});
}

bool CSubscriptions::isDue() const {
  return !due_.empty() && due_.begin()->first <= timers_.now();
}

void CSubscriptions::resume() {
  if (due_.empty() || underWay_) return;
  if (!isDue()) {
    dueTimer_ = timers_.at(due_.begin()->first, [this] { resume(); });
  } else if (!state_.profile.isSilent) {
    queue_.add(subscribing_);
  }
}

std::optional<Request> CSubscriptions::nextRequest() {
  if (underWay_ || !isDue()) return std::nullopt;
  const ObjectId object = due_.begin()->second;
  underWay_ = object;
  auto& point = points_[object];
  if (!isSubscribed(point))
    point.current.reset();  // of a subscription that has ended: changes since then were not told
  SubscribeCov subscribe;
  subscribe.process = state_.settings.process;
  subscribe.object = object;
  subscribe.confirmed = point.isConfirmed;
  subscribe.lifetime = static_cast<std::uint32_t>(kSubscriptionLifetime.count());
  return Request{ConfirmedService::kSubscribeCov, encode(subscribe),
                 [this, object](const Answer& answer) { onAnswer(object, answer); }};
}

void CSubscriptions::onAnswer(const ObjectId& object, const Answer& answer) {
  underWay_.reset();
  auto& entry = *points_.find(object);
  switch (answer.kind) {
    case Answer::Kind::kAck:
      acknowledge(entry);
      break;
    case Answer::Kind::kOverdue:
      // If the device is there all the same, it gives no answer to these. If not, it will have forgotten all.
      postponeDue();
      break;
    case Answer::Kind::kUnreachable:
    case Answer::Kind::kRefused:
      break;
    default:
      refuse(entry, answer);
  }
  resume();
}

void CSubscriptions::acknowledge(Points::value_type& entry) {
  auto& point = entry.second;
  const bool isNew = !isSubscribed(point);
  point.until = timers_.now() + kSubscriptionLifetime;
  point.isRefused = isRefusedAtAll_ = false;
  // Those subscribed together are renewed spread over a time, and from then on at the same distances.
  std::chrono::duration<double> after = kRenewedAfter;
  if (isNew) after *= 1 - std::fmod(static_cast<double>(++subscribed_) * kGoldenRatio, 1.0) / 2;
  setDue(entry, timers_.now() + std::chrono::duration_cast<io::Duration>(after));
}

void CSubscriptions::refuse(Points::value_type& entry, const Answer& answer) {
  auto& [object, point] = entry;
  point.until = {};
  point.current.reset();
  constexpr auto kService = ConfirmedService::kSubscribeCov;
  const Failure failure = failureOf(kService, answer);
  const std::string reason = failureText(failure);
  if (remedyFor(kService, answer) == BatchRemedy::kNever) {
    postponeDue();
    if (!std::exchange(isRefusedAtAll_, true)) state_.tell(deviceText(state_) + " takes no subscriptions: " + reason);
    return;
  }
  setDue(entry, timers_.now() + kRefusedFor);
  if (std::exchange(point.isRefused, true)) return;
  if (failure.kind == Failure::Kind::kError && failure.error.errorClass == error_class::kResources) {
    // Said once, for it concerns every object that comes after the last one with room.
    if (!std::exchange(isFull_, true))
      state_.tell(deviceText(state_) + " has no room for all subscriptions: " + reason);
    return;
  }
  state_.tell(deviceText(state_) + " refuses the subscription of object " + objectText(object) + ": " + reason);
}

/// What would be subscribed now is so later.
void CSubscriptions::postponeDue() {
  const auto now = timers_.now();
  while (isDue()) {
    auto& entry = *points_.find(due_.begin()->second);
    setDue(entry, now + (isSubscribed(entry.second) ? io::Duration(kUnansweredFor) : kRefusedFor));
  }
}

void CSubscriptions::renewAll() {
  for (auto& entry : points_) {
    auto& point = entry.second;
    point.until = {};
    point.current.reset();
    point.differs.reset();
    setDue(entry, timers_.now());
  }
  differing_.clear();
  resume();
}

const Values* CSubscriptions::value(const PropertyAddress& address) const {
  if (points_.empty() || !isPresentValue(address.reference)) return nullptr;
  const auto entry = points_.find(address.object);
  if (entry == points_.end() || timers_.now() - heard_ > kHeardWithin) return nullptr;
  const auto& point = entry->second;
  return isSubscribed(point) && point.current ? &*point.current : nullptr;
}

void CSubscriptions::drop(const ObjectId& object) {
  const auto entry = points_.find(object);
  if (entry != points_.end()) entry->second.current.reset();
}

/// A confirmed notification whose acknowledgement was lost, or itself at first, comes again seconds later: by then the
/// value may have been changed, or written. It tells how long the subscription lasted when it was made.
bool CSubscriptions::isLate(const Point& point, const CovNotification& notification) const {
  if (!countsDown_ || !isSubscribed(point) || underWay_ == notification.object) return false;
  return timers_.now() + std::chrono::seconds(notification.timeRemaining) > point.until + kLateFrom;
}

void CSubscriptions::onNotification(const CovNotification& notification) {
  const auto entry = points_.find(notification.object);
  if (notification.process != state_.settings.process || entry == points_.end()) return;
  if (isLate(entry->second, notification)) return entry->second.current.reset();
  const std::chrono::seconds remaining(notification.timeRemaining);
  if (remaining.count() > 0 && remaining < kSubscriptionLifetime) countsDown_ = true;
  for (const auto& reported : notification.values) {
    if (!isPresentValue(reported.reference)) continue;
    auto& point = entry->second;
    point.reported = reported.values;
    point.current = reported.values;
    point.differs.reset();
    differing_.erase(notification.object);
  }
}

void CSubscriptions::onRead(const PropertyAddress& address, const Values* values) {
  if (points_.empty()) return;
  const auto entry = points_.find(address.object);
  if (entry == points_.end()) return;
  auto& point = entry->second;
  if (values == nullptr) {
    if (isPresentValue(address.reference)) point.current.reset();
  } else if (isIncrement(address.reference)) {
    point.increment = numberOf(*values);
  } else if (!isPresentValue(address.reference) || !isSubscribed(point) || point.reported.empty()) {
    return;
  } else if (isWithin(point.reported, *values, point.increment.value_or(0))) {
    point.current = *values;
    point.differs.reset();
  } else {
    point.current.reset();
    point.seen = *values;
    if (point.differs) return;
    point.differs = timers_.now();
    differing_.insert(address.object);
    if (differing_.size() == 1) judgeTimer_ = timers_.after(kNotificationMayCome, [this] { judge(); });
    if (numberOf(*values) && !point.increment) compare_({ReadItem{{address.object, kIncrement}}});
  }
}

/// A notification may still have been on its way when another value was read. What it did not explain by now it will
/// not any more.
void CSubscriptions::judge() {
  const auto now = timers_.now();
  bool isForgotten = false;
  for (auto it = differing_.begin(); it != differing_.end();) {
    auto& point = points_.find(*it)->second;
    if (point.differs && now - *point.differs < kNotificationMayCome) {
      ++it;
      continue;
    }
    if (point.differs && isWithin(point.reported, point.seen, point.increment.value_or(0))) {
      point.current = point.seen;
    } else if (point.differs) {
      isForgotten = true;
      point.increment.reset();  // it may have been changed
    }
    point.differs.reset();
    it = differing_.erase(it);
  }
  if (!differing_.empty()) judgeTimer_ = timers_.after(std::chrono::seconds(1), [this] { judge(); });
  if (!isForgotten || (forgotten_ && now - *forgotten_ < kForgottenAtMost)) return;
  forgotten_ = now;
  renewAll();
}

/// Each round takes its share of the points, the next round those that follow.
void CSubscriptions::compareSome() {
  compareTimer_ = timers_.after(kCompareEvery, [this] { compareSome(); });
  compare((points_.size() + kCompareRounds - 1) / kCompareRounds);
}

void CSubscriptions::onIAm() {
  const auto now = timers_.now();
  if (comparedAll_ && now - *comparedAll_ < kCompareAllAtMost) return;
  if (compare(points_.size())) comparedAll_ = now;
}

/// Whether there was anything to compare.
bool CSubscriptions::compare(std::size_t share) {
  if (state_.profile.isSilent) return false;
  std::vector<ReadItem> items;
  auto entry = points_.upper_bound(compared_);
  for (std::size_t i = 0; i < points_.size() && items.size() < share; ++i, ++entry) {
    if (entry == points_.end()) entry = points_.begin();
    compared_ = entry->first;
    const auto& point = entry->second;
    if (isSubscribed(point)) items.push_back({{entry->first, kPresentValue}, octetsOf(point.reported)});
  }
  if (items.empty()) return false;
  compare_(std::move(items));
  return true;
}

}  // namespace bacnet
