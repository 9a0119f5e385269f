#include "bacnet/client/invoke_ids.h"

#include <cstddef>

namespace bacnet {

std::optional<std::uint8_t> CInvokeIds::take(io::TimePoint now) {
  for (std::size_t i = 0; i < reusable_.size(); ++i) {
    const std::uint8_t id = next_++;
    if (reusable_[id] > now) continue;
    reusable_[id] = io::TimePoint::max();
    return id;
  }
  return std::nullopt;
}

}  // namespace bacnet
