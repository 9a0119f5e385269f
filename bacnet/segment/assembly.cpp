#include "bacnet/segment/assembly.h"

#include <algorithm>

namespace bacnet {

CAssembly::Taken CAssembly::take(const Segment& segment, std::string_view data) {
  const auto distance = static_cast<std::uint8_t>(segment.sequence - last_);
  if (distance == 1 && !isComplete_) return takeNext(segment, data);
  if (!hasFirst_) return {};  // only the sender's repetition can help
  if (distance == 0 || distance > 127 || isComplete_) {
    // A double. That of the segment acknowledged last means that the acknowledgement was lost. So do as many as a
    // window has: the sender's began before ours, and its end has come without filling ours.
    const Step step = isComplete_ ? Step::kComplete : Step::kMore;
    lastSkipped_ = 0;
    ++doubles_;
    if ((distance == 0 && sinceAck_ == 0) || doubles_ >= window_) return {step, acknowledge(false)};
    return {step, {}};
  }
  return skip(distance);
}

CAssembly::Taken CAssembly::takeNext(const Segment& segment, std::string_view data) {
  if (message_.size() + data.size() > largest_) return {Step::kTooLarge, {}};
  message_.append(data);
  last_ = segment.sequence;
  lastSkipped_ = 0;
  isComplete_ = !segment.more;
  ++sinceAck_;
  doubles_ = 0;
  const bool isWindowFull = sinceAck_ >= window_;
  if (!hasFirst_) window_ = std::clamp<std::uint8_t>(segment.window, 1, kSegmentWindow);
  hasFirst_ = true;
  if (isComplete_) return {Step::kComplete, acknowledge(false)};
  if (isWindowFull) return {Step::kMore, acknowledge(false)};
  return {};
}

/// A gap is complained of once for each time that the sender goes through its window.
CAssembly::Taken CAssembly::skip(std::uint8_t distance) {
  const bool isNewRound = lastSkipped_ == 0 || distance <= lastSkipped_;
  lastSkipped_ = distance;
  if (!isNewRound) return {};
  return {Step::kMore, acknowledge(true)};
}

SegmentAck CAssembly::acknowledge(bool isNegative) {
  sinceAck_ = 0;
  doubles_ = 0;
  SegmentAck ack;
  ack.isNegative = isNegative;
  ack.sequence = last_;
  ack.window = window_;
  return ack;
}

}  // namespace bacnet
