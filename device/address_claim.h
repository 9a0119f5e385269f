#pragma once

#include "cbl/net/descriptor.h"
#include "io/address.h"

namespace device {

/// Keeps other devices of this machine, or network namespace, off an address for as long as it lives. The UDP port
/// alone does not: it is shared, so that helpers which use the same port on all addresses may run beside the device.
class CAddressClaim {
 public:
  explicit CAddressClaim(const io::Address& address);
  bool isHeld() const { return isHeld_; }

 private:
  cbl::CDescriptor socket_;
  bool isHeld_ = false;
};

}  // namespace device
