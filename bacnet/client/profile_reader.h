#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

#include "bacnet/client/device_state.h"
#include "bacnet/client/transactions.h"
#include "bacnet/service/property.h"

namespace bacnet {

/// Asks a device's own object what it takes, one property after the other. What it does not say stays assumed.
class CProfileReader {
 public:
  /// Takes the number of a device that is there instead of the one that is expected.
  using Stranger = std::function<void(std::uint32_t id)>;

  CProfileReader(CTransactions& transactions, DeviceState& state, Stranger stranger)
      : transactions_(transactions), state_(state), stranger_(std::move(stranger)) {}

  /// Calls back when the device has answered to each; never if it falls silent.
  void read(std::function<void()> done);
  void stop() { ++run_; }

 private:
  void ask(std::size_t place);
  void take(std::size_t place, const ReadOutcome& outcome);
  void askWho(std::size_t next);
  void start(const ReadPropertyRequest& read, std::function<void(const ReadOutcome&)> done);

  CTransactions& transactions_;
  DeviceState& state_;
  Stranger stranger_;
  std::function<void()> done_;
  bool hasAskedWho_ = false;
  unsigned run_ = 0;  // tells the answers to an earlier run
};

/// What an I-Am, or a device's own properties, say as octets.
std::size_t usableApdu(std::uint64_t said);
/// The device's own object, whatever its instance if that is not known.
ObjectId deviceObject(const DeviceState& state);

}  // namespace bacnet
