#include "bacnet/client/whereabouts.h"

#include <cstddef>
#include <string>

#include "bacnet/client/device_text.h"

namespace bacnet {

namespace {

constexpr std::size_t kMostStrangers = 8;  // told of in the log

}  // namespace

void CWhereabouts::tellStranger(std::uint32_t id) {
  if (strangers_.size() >= kMostStrangers || !strangers_.insert(id).second) return;
  state_.tell("device " + std::to_string(id) + " says that it is at the address of " + deviceText(state_));
}

void CWhereabouts::considerMove(const Station& elsewhere, std::function<void()> moved) {
  if (doubtful_ || twins_.count(elsewhere) > 0) return;
  doubtful_ = elsewhere;
  doubt_ = timers_.after(kTryInterval, std::move(moved));
  probe_();
}

void CWhereabouts::endDoubt() {
  if (!doubtful_) return;
  if (twins_.size() < kMostStrangers && twins_.insert(*doubtful_).second)
    state_.tell("another device of its number is at " + stationText(*doubtful_) + ", besides " + deviceText(state_));
  drop();
}

void CWhereabouts::drop() {
  doubtful_.reset();
  doubt_.cancel();
}

}  // namespace bacnet
