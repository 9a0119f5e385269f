#include "bacnet/segment/segmenter.h"

#include <algorithm>
#include <utility>

namespace bacnet {

CSegmenter::CSegmenter(std::string message, std::size_t octets, std::uint8_t proposedWindow)
    : message_(std::move(message)), octets_(std::max<std::size_t>(octets, 1)), proposedWindow_(proposedWindow) {}

std::size_t CSegmenter::count() const {
  return std::max<std::size_t>((message_.size() + octets_ - 1) / octets_, 1);
}

std::vector<CSegmenter::Piece> CSegmenter::window() const {
  std::vector<Piece> pieces;
  const std::size_t end = std::min(acknowledged_ + windowSize_, count());
  for (std::size_t i = acknowledged_; i < end; ++i) {
    const Segment segment{static_cast<std::uint8_t>(i), proposedWindow_, i + 1 < count()};
    pieces.push_back({segment, std::string_view(message_).substr(i * octets_, octets_)});
  }
  return pieces;
}

CSegmenter::Step CSegmenter::take(const SegmentAck& ack) {
  const std::size_t sent = std::min(windowSize_, count() - acknowledged_);
  // How many of the window's segments have arrived. Sequence numbers are the segments' modulo 256.
  const std::size_t arrived = static_cast<std::uint8_t>(ack.sequence + 1 - acknowledged_);
  if (sent == 0 || arrived > sent) return Step::kNothing;
  if (arrived == 0 && (!ack.isNegative || acknowledged_ == 0)) return Step::kNothing;  // the last one's double
  acknowledged_ += arrived;
  windowSize_ = std::clamp<std::size_t>(ack.window, 1, 127);
  return acknowledged_ == count() ? Step::kDone : Step::kSendWindow;
}

}  // namespace bacnet
