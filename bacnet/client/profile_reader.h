#pragma once

#include <cstddef>
#include <functional>

#include "bacnet/client/device_state.h"
#include "bacnet/client/transactions.h"

namespace bacnet {

/// Asks a device's own object what it takes, one property after the other. What it does not say stays assumed.
class CProfileReader {
 public:
  CProfileReader(CTransactions& transactions, DeviceState& state) : transactions_(transactions), state_(state) {}

  /// Calls back when the device has answered to each; never if it falls silent.
  void read(std::function<void()> done);
  void stop() { ++run_; }

 private:
  void ask(std::size_t place);
  void take(std::size_t place, const Answer& answer);

  CTransactions& transactions_;
  DeviceState& state_;
  std::function<void()> done_;
  unsigned run_ = 0;  // tells the answers to an earlier run
};

/// What an I-Am, or a device's own properties, say as octets.
std::size_t usableApdu(std::uint64_t said);
/// The device's own object, whatever its instance if that is not known.
ObjectId deviceObject(const DeviceState& state);

}  // namespace bacnet
