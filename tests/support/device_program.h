#pragma once

#include <string>

#include "support/program.h"

namespace support {

/// One run of bacnet-device, ended with the object.
class DeviceProgram : public Program {
 public:
  explicit DeviceProgram(const std::string& arguments) : Program("bacnet-device", arguments) {}
};

}  // namespace support
