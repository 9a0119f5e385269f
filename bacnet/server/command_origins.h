#pragma once

#include <array>
#include <cstdint>

#include "bacnet/codec/value.h"
#include "bacnet/server/priority_array.h"
#include "bacnet/service/value_source.h"

namespace bacnet::server {

/// Who commanded each priority, and when by this machine's clock; an empty slot has nobody, but the time of its
/// release.
class CCommandOrigins {
 public:
  /// `priority` is 1 to 16; no source: it was released.
  void note(std::uint8_t priority, const ValueSource& source);

  Values sourceOf(std::uint8_t priority) const { return {toValue(origins_.at(priority - std::size_t{1}).source)}; }
  Values sources() const;
  Values times() const;
  Values lastTime() const;

 private:
  struct Origin {
    ValueSource source;
    Date date;
    Time time;
  };
  static Value stampOf(const Origin& origin);

  std::array<Origin, kPriorities> origins_;
  Origin last_;
};

}  // namespace bacnet::server
