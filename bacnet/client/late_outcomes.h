#pragma once

#include <cstddef>
#include <map>
#include <optional>

#include "bacnet/client/device_client.h"

namespace bacnet {

constexpr io::Duration kLateOutcomeKept = std::chrono::seconds(10);

bool operator<(const PropertyAddress& a, const PropertyAddress& b);

/// What came when nobody waited for it any more, for whoever asks next.
class CLateOutcomes {
 public:
  void keep(const PropertyAddress& address, ReadOutcome outcome, io::TimePoint now);
  std::optional<ReadOutcome> take(const PropertyAddress& address, io::TimePoint now);
  /// Of all properties of an object: what has been written may change them.
  void drop(const ObjectId& object);

 private:
  static constexpr std::size_t kMost = 4096;
  struct Kept {
    ReadOutcome outcome;
    io::TimePoint until;
  };

  std::map<PropertyAddress, Kept> kept_;
};

}  // namespace bacnet
