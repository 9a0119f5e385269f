#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "driver/bacnet_link.h"
#include "hmi/driver.h"

namespace driver {

/// The driver object: one link, reached through its helper process.
///
/// Register reads and writes, `disconnect` and `updateConfig` exclude each other with the object's mutex, which is held
/// while the helper's reply is waited for; `getStatus` and `getConnectState` take no lock. `init`, `connect` and
/// `prepareRegister` take none either: the host does not overlap them with any of the above. `init` comes first: before
/// it no register resolves. A helper's reply that is no number throws std::invalid_argument or std::out_of_range
/// through the operation, and a mutex that cannot be locked std::system_error.
class CBACnetIpDriver : public CDriver {
 public:
  CBACnetIpDriver() = default;
  ~CBACnetIpDriver() override;

  /// Result: 0; -1 the helper cannot be started; else `CBACnetLink::loadProject`'s. Failures are printed on standard
  /// output.
  std::int32_t init(const CConfig& config) override;
  /// Clears the link's status flags only: helper and bus client stay as they are. Result: 0.
  std::int32_t disconnect() override;
  /// Result: 0.
  std::int32_t updateConfig(const CConfig& config) override;
  /// Always -1: nothing ever sets it.
  std::int32_t getStatus() override;
  /// Result of the last `connect` that got as far as the helper; -1 before, and after a read, batch read or batch write
  /// whose remote call gave a negative result. A failed single write does not change it.
  std::int32_t getConnectState() override;
  /// Result: the helper's code, 0 when connected; -1 the network interface has no usable IPv4 address (the connect
  /// state is kept) or the helper does not answer. Restarts the helper at most once.
  std::int32_t connect() override;
  /// Sets the parameter "FreeTagName" to the point's name and turns the length into address steps (at least 1; 0 when
  /// the step size is 0). Result: 0; -1 no such point (the register is untouched).
  std::int32_t prepareRegister(CRegister& reg) override;
  bool supportsMultiAccess() override;
  /// Admits at most 11 items: reads when the link allows multiple reads, writes when it allows multiple writes.
  bool acceptBatchItem(void* batch, int& count, AccessRequest& request) override;

  /// Result of the four: 0; -1 no such point, or no reply; else the helper's code. Words are appended.
  std::int32_t readRegister(CRegister& reg, std::vector<short>& words) override;
  /// One call for the whole batch, -1 for an empty one. Items without a point are skipped and get no words.
  std::int32_t readRegisters(Batch& batch) override;
  std::int32_t writeRegister(CRegister& reg, std::vector<short> words) override;
  /// Like `readRegisters`, but EVERY point is sent the words of the batch's last item.
  std::int32_t writeRegisters(Batch& batch) override;

  /// What a batch of one register with a non-zero "AlignedLen" calls: 0, and nothing is read or written.
  std::int32_t readAligned(CRegister& reg, std::vector<short>& words, std::uint32_t alignedLength) override;
  std::int32_t writeAligned(CRegister& reg, std::vector<short>& words, std::uint32_t alignedLength) override;
  /// Always -1.
  std::int32_t reserved3() override;
  std::int32_t reserved4() override;

 protected:
  std::mutex mutex;
  std::atomic<std::int32_t> status{-1};
  std::atomic<std::int32_t> connectState{-1};
  CBACnetLink link;

 private:
  bool findPoint(const CRegister& reg, PointAccess& point) const;

  RTTR_ENABLE(CDriver)
};

}  // namespace driver
