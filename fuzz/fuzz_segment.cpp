#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "bacnet/segment/assembly.h"
#include "bacnet/segment/segmenter.h"
#include "fuzz/check.h"

namespace {

using bacnet::CAssembly;
using bacnet::CSegmenter;

// Numbers modulo 256 tell segments apart only as long as none is late by more than this.
constexpr int kLatest = 100;  // datagrams

// One direction of the line. A datagram may be lost, doubled, or overtaken by those behind it.
template <typename Datagram>
class CLine {
 public:
  void send(const Datagram& datagram) { underWay_.push_back({datagram, ++sent_}); }
  bool isEmpty() const { return underWay_.empty(); }

  // Hands one of the first eight to `arrive`, or none.
  template <typename Arrive>
  void step(std::uint8_t fate, const Arrive& arrive) {
    while (!underWay_.empty() && sent_ - underWay_.front().number > kLatest) underWay_.pop_front();
    if (underWay_.empty()) return;
    const auto at =
        underWay_.begin() + static_cast<std::ptrdiff_t>((fate >> 2) % std::min<std::size_t>(8, underWay_.size()));
    const bool isLost = (fate & 3U) == 3;
    const bool isDoubled = (fate & 3U) == 2;
    const Datagram datagram = at->datagram;
    if (!isDoubled) underWay_.erase(at);
    if (!isLost) arrive(datagram);
  }

 private:
  struct Entry {
    Datagram datagram;
    int number;
  };
  std::deque<Entry> underWay_;
  int sent_ = 0;
};

// A message on its way over two such lines.
class CTransfer {
 public:
  CTransfer(std::string message, std::size_t octets, std::uint8_t window)
      : message_(message), sender_(std::move(message), octets, window) {
    sendWindow();
  }

  bool isDone() const { return isDone_; }

  void step(std::uint8_t what, std::uint8_t fate) {
    switch (what % 8) {
      case 0:
        return sendWindow();  // nothing came for the sender's time
      case 1:
      case 2:
      case 3:
        return toSender_.step(fate, [this](const auto& ack) { arrive(ack); });
      default:
        return toReceiver_.step(fate, [this](const auto& piece) { arrive(piece); });
    }
  }

  // From now on nothing is lost: whatever has happened, the message arrives.
  void finish() {
    const std::size_t enough = 4 * sender_.count() + 64;
    for (std::size_t timeouts = 0; !isDone_ && timeouts < enough; ++timeouts) {
      while (!toReceiver_.isEmpty() || !toSender_.isEmpty()) step(toReceiver_.isEmpty() ? 1 : 4, 0);
      sendWindow();
    }
    FUZZ_CHECK(isDone_ && receiver_.message() == message_);
  }

 private:
  void sendWindow() {
    if (isDone_) return;
    for (const auto& piece : sender_.window()) toReceiver_.send(piece);
  }
  void arrive(const CSegmenter::Piece& piece) {
    const auto taken = receiver_.take(piece.segment, piece.data);
    FUZZ_CHECK(taken.step != CAssembly::Step::kTooLarge);
    FUZZ_CHECK(message_.compare(0, receiver_.message().size(), receiver_.message()) == 0);
    FUZZ_CHECK((taken.step == CAssembly::Step::kComplete) <= (receiver_.message() == message_));
    if (taken.ack) toSender_.send(*taken.ack);
  }
  void arrive(const bacnet::SegmentAck& ack) {
    if (isDone_) return;
    const auto step = sender_.take(ack);
    isDone_ = step == CSegmenter::Step::kDone;
    if (step == CSegmenter::Step::kSendWindow) sendWindow();
    FUZZ_CHECK(!isDone_ || receiver_.message() == message_);
  }

  const std::string message_;
  CSegmenter sender_;
  CAssembly receiver_;
  CLine<CSegmenter::Piece> toReceiver_;
  CLine<bacnet::SegmentAck> toSender_;
  bool isDone_ = false;
};

void transfer(std::string_view input) {
  const std::size_t octets = takeByte(input) % 32U + 1;
  const std::uint8_t window = takeByte(input);
  const std::size_t segments = std::size_t{3} * takeByte(input);
  std::string message(segments * octets + takeByte(input) % octets, '\0');
  for (std::size_t i = 0; i < message.size(); ++i) message[i] = static_cast<char>(i * 31 + i / 251);

  CTransfer transfer(std::move(message), octets, window);
  while (!input.empty() && !transfer.isDone()) {
    const std::uint8_t what = takeByte(input);
    transfer.step(what, takeByte(input));
  }
  transfer.finish();
}

// A sender that keeps to nothing: what was taken stays, within the limit, and an acknowledgement names a segment.
void assembleAnything(std::string_view input) {
  const std::size_t largest = takeByte(input);
  CAssembly assembly(largest);
  bool isComplete = false;
  while (!input.empty()) {
    const std::string before = assembly.message();
    const std::uint8_t flags = takeByte(input);
    bacnet::Segment segment;
    segment.more = (flags & 1U) != 0;
    segment.sequence = takeByte(input);
    segment.window = takeByte(input);
    const std::string_view data = input.substr(0, std::min<std::size_t>(flags >> 3, input.size()));
    input.remove_prefix(data.size());

    const auto taken = assembly.take(segment, data);
    const std::string& after = assembly.message();
    FUZZ_CHECK(after.size() <= largest && after.compare(0, before.size(), before) == 0);
    FUZZ_CHECK(after == before || after == before + std::string(data));
    FUZZ_CHECK(!isComplete || (after == before && taken.step == CAssembly::Step::kComplete));
    isComplete = taken.step == CAssembly::Step::kComplete;
    if (taken.ack) FUZZ_CHECK(taken.ack->window >= 1 && taken.ack->window <= bacnet::kSegmentWindow);
  }
}

// A receiver that keeps to nothing: the window holds the message's next pieces, and never goes back.
void cutForAnybody(std::string_view input) {
  const std::size_t octets = takeByte(input) % 4U + 1;
  const std::size_t segments = std::size_t{4} * takeByte(input) + 1;
  std::string message(segments * octets, '\0');
  for (std::size_t i = 0; i < message.size(); ++i) message[i] = static_cast<char>(i / octets);  // its number
  CSegmenter sender(message, octets);
  std::size_t next = 0;
  while (!input.empty()) {
    bacnet::SegmentAck ack;
    ack.isNegative = (takeByte(input) & 1U) != 0;
    ack.sequence = takeByte(input);
    ack.window = takeByte(input);
    const auto step = sender.take(ack);
    if (step != CSegmenter::Step::kNothing) next += static_cast<std::uint8_t>(ack.sequence + 1 - next);
    FUZZ_CHECK(next <= segments && (step == CSegmenter::Step::kDone) <= (next == segments));
    const auto pieces = sender.window();
    FUZZ_CHECK(pieces.empty() == (next == segments) && pieces.size() <= 127);
    for (std::size_t i = 0; i < pieces.size(); ++i) {
      FUZZ_CHECK(pieces[i].data == std::string_view(message).substr((next + i) * octets, octets));
      FUZZ_CHECK(pieces[i].segment.sequence == static_cast<std::uint8_t>(next + i));
      FUZZ_CHECK(pieces[i].segment.more == (next + i + 1 < segments));
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  switch (takeByte(input) % 4) {
    case 0:
      assembleAnything(input);
      break;
    case 1:
      cutForAnybody(input);
      break;
    default:
      transfer(input);
  }
  return 0;
}
