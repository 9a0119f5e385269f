#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "bacnet/codec/apdu.h"

namespace bacnet {

constexpr std::uint8_t kSegmentWindow = 16;  // segments that we propose, and take, between two acknowledgements

/// Octets of the headers that a segmented PDU has before its piece.
constexpr std::size_t kSegmentedRequestHeader = 6;
constexpr std::size_t kSegmentedAckHeader = 5;

/// Cuts one message and says which segments are to go out, clause 5.4's sender. Knows no PDU, clock or network: whoever
/// owns it sends `window()` at first, again when no acknowledgement has come for its time, and when `take` says so.
class CSegmenter {
 public:
  enum class Step {
    kNothing,     ///< an acknowledgement that says nothing new
    kSendWindow,  ///< `window()` is to be sent
    kDone,        ///< the last segment has been acknowledged
  };
  struct Piece {
    Segment segment;
    std::string_view data;  ///< of the segmenter's message
  };

  /// `octets` a segment, at least 1.
  CSegmenter(std::string message, std::size_t octets, std::uint8_t proposedWindow = kSegmentWindow);

  std::size_t count() const;
  /// What the receiver's window holds: the first segment alone until it has said how much it takes.
  std::vector<Piece> window() const;
  Step take(const SegmentAck& ack);

 private:
  std::string message_;
  std::size_t octets_;
  std::uint8_t proposedWindow_;
  std::size_t acknowledged_ = 0;  // segments from the start
  std::size_t windowSize_ = 1;
};

}  // namespace bacnet
