#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "bacnet/codec/apdu.h"
#include "bacnet/segment/segmenter.h"

namespace bacnet {

constexpr std::size_t kLargestAssembly = std::size_t{2} * 1024 * 1024;  // octets of a message that came in segments

/// Puts the segments of one message together, clause 5.4's receiver. Knows no PDU, clock or network: whoever owns it
/// sends the acknowledgements and gives up when nothing has come for its time.
class CAssembly {
 public:
  enum class Step {
    kMore,      ///< go on waiting
    kComplete,  ///< `message` is whole
    kTooLarge,  ///< to be aborted
  };
  struct Taken {
    Step step = Step::kMore;
    std::optional<SegmentAck> ack;  ///< to be sent; invoke id and `fromServer` are the owner's to fill in
  };

  explicit CAssembly(std::size_t largest = kLargestAssembly) : largest_(largest) {}

  /// Segments may come twice, in any order, and with any window; also after the last one, whose acknowledgement may
  /// have been lost.
  Taken take(const Segment& segment, std::string_view data);

  const std::string& message() const { return message_; }

 private:
  Taken takeNext(const Segment& segment, std::string_view data);
  Taken skip(std::uint8_t distance);
  SegmentAck acknowledge(bool isNegative);

  std::size_t largest_;
  std::string message_;
  std::uint8_t last_ = 255;    // sequence number of the newest segment taken: the one before 0 at first
  std::uint8_t sinceAck_ = 0;  // segments taken since the last acknowledgement
  std::uint8_t window_ = 1;    // the first segment is acknowledged alone
  std::uint8_t doubles_ = 0;   // that came since the last new one or acknowledgement
  std::uint8_t lastSkipped_ =
      0;  // how far ahead the newest segment was that came too early; 0: none since the last one
  bool hasFirst_ = false;
  bool isComplete_ = false;
};

}  // namespace bacnet
