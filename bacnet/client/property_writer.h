#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "bacnet/client/batch_limit.h"
#include "bacnet/client/device_queue.h"
#include "bacnet/client/device_state.h"
#include "io/timers.h"

namespace bacnet {

/// Writes of a device's properties: those of one call in their order, in batches where the device takes them.
class CPropertyWriter {
 public:
  using Done = std::function<void(std::vector<WriteOutcome>)>;
  using WriteHandler = std::function<void(const ObjectId& object)>;

  CPropertyWriter(io::CTimers& timers, CDeviceQueue& queue, const DeviceState& state);

  /// What is known of `object` is out of date: before a write goes out, and when it has been answered.
  void onWrite(WriteHandler handler) { write_ = std::move(handler); }

  /// As CDeviceClient::write.
  void write(std::vector<WriteItem> items, io::TimePoint deadline, Done done);

  CBatchLimit& limit() { return limit_; }

 private:
  class CWriteCall;
  friend class CWriteCall;

  io::CTimers& timers_;
  CDeviceQueue& queue_;
  const DeviceState& state_;
  CBatchLimit limit_;
  WriteHandler write_;
};

}  // namespace bacnet
