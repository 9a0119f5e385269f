#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "bacnet/client/device_queue.h"
#include "bacnet/client/device_state.h"
#include "bacnet/service/cov.h"
#include "io/timers.h"

namespace bacnet {

constexpr std::chrono::seconds kSubscriptionLifetime{300};
constexpr std::chrono::seconds kRenewedAfter = kSubscriptionLifetime / 2;
constexpr std::chrono::minutes kRefusedFor{10};
constexpr std::chrono::seconds kUnansweredFor{60};  // of a renewal
constexpr std::chrono::seconds kHeardWithin{15};
constexpr std::chrono::seconds kCompareEvery{10};
constexpr std::size_t kCompareRounds = 6;                // in which each subscribed point has had its turn
constexpr std::chrono::seconds kNotificationMayCome{5};  // after a read that brought another value
constexpr std::chrono::milliseconds kLateFrom{1500};     // on the way, and a device counts whole seconds
constexpr std::chrono::seconds kForgottenAtMost{60};     // believed once in so long
constexpr std::chrono::seconds kCompareAllAtMost{60};    // likewise

/// The subscriptions to the present values of one device's objects: keeps them alive, knows the values, and finds out
/// that the device has forgotten them.
class CSubscriptions {
 public:
  /// Reads these from the device; the values come back by `onRead`.
  using Compare = std::function<void(std::vector<ReadItem> items)>;

  CSubscriptions(io::CTimers& timers, CDeviceQueue& queue, const DeviceState& state, Compare compare);
  ~CSubscriptions();

  void add(const ObjectId& object, bool confirmed);
  bool knows(const ObjectId& object) const { return points_.count(object) > 0; }

  /// What a read would bring, if that is known.
  const Values* value(const PropertyAddress& address) const;

  void heard(io::TimePoint now) { heard_ = now; }
  /// The device has said I-Am: it may have been started anew, or somebody has asked who is there.
  void onIAm();
  /// Goes on after the device has been silent.
  void resume();
  /// Everything is subscribed anew: the device may have forgotten all.
  void renewAll();
  /// A write to this object: what is known of it is out of date.
  void drop(const ObjectId& object);
  /// `values`: null where the device has none to give.
  void onRead(const PropertyAddress& address, const Values* values);
  void onNotification(const CovNotification& notification);

 private:
  class CSubscribing;
  struct Point {
    bool isConfirmed = false;
    bool isRefused = false;
    Values reported;                       // by the latest notification; empty before the first
    std::optional<Values> current;         // what a read would bring
    std::optional<io::TimePoint> differs;  // since when a read has brought something else: `seen`
    Values seen;
    std::optional<double> increment;  // a smaller change is worth no notification
    io::TimePoint due;                // when it is subscribed, again
    io::TimePoint until{};            // the device's own end of the subscription; past: there is none
  };
  using Points = std::map<ObjectId, Point>;

  void setDue(Points::value_type& entry, io::TimePoint due);
  bool isDue() const;
  bool isLate(const Point& point, const CovNotification& notification) const;
  bool isSubscribed(const Point& point) const { return timers_.now() < point.until; }
  std::optional<Request> nextRequest();
  void onAnswer(const ObjectId& object, const Answer& answer);
  void acknowledge(Points::value_type& entry);
  void refuse(Points::value_type& entry, const Answer& answer);
  void postponeDue();
  void compareSome();
  bool compare(std::size_t share);
  void judge();

  io::CTimers& timers_;
  CDeviceQueue& queue_;
  const DeviceState& state_;
  Compare compare_;
  Points points_;
  std::set<std::pair<io::TimePoint, ObjectId>> due_;
  std::shared_ptr<CSubscribing> subscribing_;  // one request at a time
  std::optional<ObjectId> underWay_;
  bool countsDown_ = false;  // the device tells how long a subscription lasts from then on
  bool isRefusedAtAll_ = false;
  bool isFull_ = false;         // the device has told that it has no room for more
  std::size_t subscribed_ = 0;  // times that something was, to spread the renewals
  ObjectId compared_;           // whose turn it was last
  std::set<ObjectId> differing_;
  io::TimePoint heard_{};
  std::optional<io::TimePoint> forgotten_;
  std::optional<io::TimePoint> comparedAll_;
  io::CTimer dueTimer_;
  io::CTimer compareTimer_;
  io::CTimer judgeTimer_;
};

}  // namespace bacnet
