#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "bacnet/client/batch_limit.h"
#include "bacnet/client/device_queue.h"
#include "bacnet/client/device_state.h"
#include "bacnet/client/late_outcomes.h"
#include "io/timers.h"

namespace bacnet {

/// Reads of a device's properties: in batches that fit, smaller ones where the device does not take them.
class CPropertyReader {
 public:
  using Done = std::function<void(std::vector<ReadOutcome>)>;
  /// A value that is known without asking, or none.
  using Cache = std::function<const Values*(const PropertyAddress& address)>;
  using ValueHandler = std::function<void(const PropertyAddress& address, const Values* values)>;

  CPropertyReader(io::CTimers& timers, CDeviceQueue& queue, const DeviceState& state);

  void setCache(Cache cache) { cache_ = std::move(cache); }
  /// Every value that comes from the device, null for an error instead of one.
  void onValue(ValueHandler handler) { value_ = std::move(handler); }

  /// As CDeviceClient::read.
  void read(std::vector<ReadItem> items, io::TimePoint deadline, Done done);
  /// Without what is known already.
  void readAnew(std::vector<ReadItem> items, io::TimePoint deadline, Done done);

  /// As CDeviceClient::countInOneRead.
  std::size_t countInOne(const std::vector<ReadItem>& items) const;

  CBatchLimit& limit() { return limit_; }
  /// Nothing that was asked for before now is to be kept of `object`: a write of it goes out, or has been answered.
  void forget(const ObjectId& object);

 private:
  class CReadCall;
  friend class CReadCall;

  void start(std::shared_ptr<CReadCall> call, io::TimePoint deadline);
  void onAlone(const PropertyAddress& address, const Answer& answer);
  bool isOutdated(const ObjectId& object, std::uint64_t request) const;
  void expire(const std::shared_ptr<CReadCall>& call);

  io::CTimers& timers_;
  CDeviceQueue& queue_;
  const DeviceState& state_;
  CBatchLimit limit_;
  CLateOutcomes late_;
  std::uint64_t requests_ = 0;                 // sent so far, which numbers them
  std::map<ObjectId, std::uint64_t> written_;  // the newest request at an object's last write
  std::set<PropertyAddress> tooLong_;          // even by themselves: they are in no batch
  std::weak_ptr<CReadCall>
      leftOver_;  // one whose caller is gone may go on, so that a slow device's last items get a turn
  Cache cache_;
  ValueHandler value_;
};

}  // namespace bacnet
