#include "bacnet/client/late_outcomes.h"

#include <tuple>
#include <utility>

namespace bacnet {

bool operator<(const PropertyAddress& a, const PropertyAddress& b) {
  return std::tie(a.object, a.reference) < std::tie(b.object, b.reference);
}

void CLateOutcomes::keep(const PropertyAddress& address, ReadOutcome outcome, io::TimePoint now) {
  if (kept_.size() >= kMost) {
    for (auto it = kept_.begin(); it != kept_.end();) it = it->second.until < now ? kept_.erase(it) : std::next(it);
    if (kept_.size() >= kMost) return;
  }
  kept_[address] = Kept{std::move(outcome), now + kLateOutcomeKept};
}

std::optional<ReadOutcome> CLateOutcomes::take(const PropertyAddress& address, io::TimePoint now) {
  if (kept_.empty()) return std::nullopt;
  auto kept = kept_.extract(address);
  if (kept.empty() || kept.mapped().until < now) return std::nullopt;
  return std::move(kept.mapped().outcome);
}

void CLateOutcomes::drop(const ObjectId& object) {
  auto it = kept_.lower_bound(PropertyAddress{object, {}});
  while (it != kept_.end() && it->first.object == object) it = kept_.erase(it);
}

}  // namespace bacnet
