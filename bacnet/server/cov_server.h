#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <tuple>

#include "bacnet/network/network.h"
#include "bacnet/server/device.h"
#include "bacnet/service/cov.h"
#include "io/timers.h"

namespace bacnet::server {

/// Who wants to be told of which object's changes, clause 13.1. A change is one of the status flags, or of the present
/// value: by at least the COV increment where the object has one.
class CCovServer {
 public:
  /// Sends a notification; `done` is called, once and later, when a confirmed one has been answered or given up.
  using Send = std::function<void(const Station& to, bool confirmed, const CovNotification& notification,
                                  std::function<void()> done)>;

  /// The device and the timers outlive it.
  CCovServer(CDevice& device, io::CTimers& timers, Send send);

  /// Takes, renews or cancels a subscription. The value is told as soon as the loop goes on, after the answer.
  std::optional<Error> subscribe(const Station& from, const SubscribeCov& request);
  /// Some values may have changed: looks at them as soon as the loop goes on.
  void valuesChanged();
  void dropAll();

 private:
  using Key = std::tuple<Station, std::uint32_t, ObjectId>;
  struct Told {
    Values presentValue;
    Values statusFlags;
  };
  struct Subscription {
    bool isConfirmed = false;
    std::optional<io::TimePoint> end;
    std::optional<Told> told;
    bool isUnderWay = false;
  };

  void dropEnded();
  void notifyChanges();
  void notify(const Key& key, Subscription& subscription, const CObject& object);
  std::uint32_t secondsLeft(const Subscription& subscription) const;
  Values list() const;

  CDevice& device_;
  io::CTimers& timers_;
  Send send_;
  std::map<Key, Subscription> subscriptions_;
  io::CTimer soon_;
};

}  // namespace bacnet::server
