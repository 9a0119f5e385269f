#pragma once

#include <modbus/modbus.h>

#include <memory>

#include "bench/child_process.h"

namespace bench {

/// A libmodbus server process on loopback TCP. Throws std::runtime_error on a failed call.
class CModbusPeer {
 public:
  CModbusPeer();
  ~CModbusPeer();

  /// Two holding registers, as one REAL takes.
  void read();

 private:
  std::unique_ptr<CChildProcess> server_;
  std::unique_ptr<modbus_t, decltype(&modbus_free)> context_{nullptr, modbus_free};
};

}  // namespace bench
