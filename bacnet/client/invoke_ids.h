#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "io/clock.h"

namespace bacnet {

/// The invoke ids of the requests to one device: each in use once, and out of use again as late as can be.
class CInvokeIds {
 public:
  /// The one that has not been used for longest; nothing while all are in use or may still be answered.
  std::optional<std::uint8_t> take(io::TimePoint now);
  /// No answer to it can come any more from `reusable` on.
  void release(std::uint8_t id, io::TimePoint reusable) { reusable_[id] = reusable; }

 private:
  std::array<io::TimePoint, 256> reusable_{};
  std::uint8_t next_ = 0;
};

}  // namespace bacnet
