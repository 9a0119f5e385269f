#pragma once

#include <rttr/rttr_enable.h>
#include <rttr/type>

#include <cstdint>
#include <string>
#include <vector>

#include "hmi/access.h"
#include "hmi/config.h"
#include "hmi/register.h"

namespace driver {

/// Base class of every field-bus driver. The order of the virtual operations is the binary interface between runtime
/// and plug-in (slots 0 and 1 are the destructor's); never reorder, insert or remove one.
///
/// Results are signed 32-bit: 0 for success, negative for the driver's own failures, positive for codes that the field
/// bus reported. The runtime calls `init` first and does not overlap `init`, `connect` or `prepareRegister` with
/// register access, `disconnect` or `updateConfig`; everything else may be called from any thread.
class CDriver {
 public:
  virtual ~CDriver();

  /// Takes a copy of `config` and brings the driver up. May block for seconds.
  virtual std::int32_t init(const CConfig& config) = 0;
  virtual std::int32_t disconnect() = 0;
  virtual std::int32_t updateConfig(const CConfig& config) = 0;
  virtual std::int32_t getStatus() = 0;
  virtual std::int32_t getConnectState() = 0;
  /// May be repeated at any time after `init`. May block for seconds.
  virtual std::int32_t connect() = 0;
  /// Called once per register before its first use; the driver may change its length and parameters.
  virtual std::int32_t prepareRegister(CRegister& reg) = 0;
  virtual bool supportsMultiAccess() = 0;
  /// Whether `request` may join the batch that the runtime is forming. `count` is the number of items accepted so far;
  /// the driver raises it when it accepts. `batch` is the runtime's own handle of that batch.
  virtual bool acceptBatchItem(void* batch, int& count, AccessRequest& request) = 0;
  /// Appends the register's words to `words`.
  virtual std::int32_t readRegister(CRegister& reg, std::vector<short>& words) = 0;
  virtual std::int32_t readRegisters(Batch& batch) = 0;
  virtual std::int32_t writeRegister(CRegister& reg, std::vector<short> words) = 0;
  virtual std::int32_t writeRegisters(Batch& batch) = 0;
  virtual std::int32_t readAligned(CRegister& reg, std::vector<short>& words, std::uint32_t alignedLength) = 0;
  virtual std::int32_t writeAligned(CRegister& reg, std::vector<short>& words, std::uint32_t alignedLength) = 0;
  virtual std::int32_t reserved3() = 0;
  virtual std::int32_t reserved4() = 0;

 protected:
  CConfig config_;

  RTTR_ENABLE()  // the last three slots; ends in "private:"
};

}  // namespace driver
