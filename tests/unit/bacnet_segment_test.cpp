#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <optional>

#include "bacnet/segment/assembly.h"
#include "bacnet/segment/segmenter.h"

namespace {

using bacnet::CAssembly;
using bacnet::CSegmenter;
using bacnet::SegmentAck;

std::string numbered(std::size_t octets) {
  std::string text;
  for (std::size_t i = 0; i < octets; ++i) text += static_cast<char>(i * 31 + i / 251);
  return text;
}

/// What a line does to the n-th datagram in either direction, from 0: how many copies arrive, and whether late.
struct Fate {
  int copies = 1;
  bool behindTheNext = false;
};

struct Exchange {
  std::string received;
  bool isDone = false;
  int segments = 0;
  int timeouts = 0;
};

/// Sends `message` over such a line; the sender repeats its window when nothing is under way any more.
Exchange exchange(const std::string& message, std::size_t octets, std::uint8_t window,
                  const std::function<Fate(int)>& fate) {
  CSegmenter sender(message, octets, window);
  CAssembly receiver;
  Exchange result;
  std::deque<CSegmenter::Piece> toReceiver;
  std::deque<SegmentAck> toSender;
  int datagrams = 0;
  const auto launch = [&](auto& line, const auto& datagram) {
    const Fate one = fate(datagrams++);
    for (int i = 0; i < one.copies; ++i) line.push_back(datagram);
    if (one.behindTheNext && line.size() > 1) std::swap(line[line.size() - 1], line[line.size() - 2]);
  };
  const auto sendWindow = [&] {
    for (const auto& piece : sender.window()) launch(toReceiver, piece);
    result.segments += static_cast<int>(sender.window().size());
  };
  for (sendWindow(); !result.isDone && result.timeouts < 10;) {
    if (!toReceiver.empty()) {
      const auto taken = receiver.take(toReceiver.front().segment, toReceiver.front().data);
      toReceiver.pop_front();
      if (taken.step == CAssembly::Step::kComplete) result.received = receiver.message();
      if (taken.ack) launch(toSender, *taken.ack);
    } else if (!toSender.empty()) {
      const auto step = sender.take(toSender.front());
      toSender.pop_front();
      if (step == CSegmenter::Step::kSendWindow) sendWindow();
      result.isDone = step == CSegmenter::Step::kDone;
    } else {
      ++result.timeouts;
      sendWindow();
    }
  }
  return result;
}

TEST(Segments, ArriveWholeWithAnyWindowAndNumber) {
  for (const std::size_t octets : {0U, 1U, 9U, 10U, 11U, 100U, 2560U, 2561U, 5205U}) {
    for (const int window : {0, 1, 2, 5, 16, 127, 255}) {
      const auto message = numbered(octets);
      const auto result = exchange(message, 10, static_cast<std::uint8_t>(window), [](int) { return Fate{}; });
      EXPECT_TRUE(result.isDone && result.received == message) << octets << " octets, window " << window;
      EXPECT_EQ(result.timeouts, 0);
      EXPECT_EQ(result.segments, std::max<int>(1, static_cast<int>(octets + 9) / 10)) << "none is sent twice";
    }
  }
}

TEST(Segments, OneFaultAnywhereCostsAtMostOneTimeout) {
  const auto message = numbered(203);
  const Fate faults[] = {{0, false}, {2, false}, {3, false}, {1, true}, {2, true}};
  for (const auto& fault : faults) {
    for (int at = 0; at < 40; ++at) {
      const auto result = exchange(message, 10, 4, [&](int n) { return n == at ? fault : Fate{}; });
      EXPECT_TRUE(result.isDone && result.received == message) << at;
      EXPECT_LE(result.timeouts, fault.copies == 0 ? 1 : 0) << at;
      EXPECT_LE(result.segments, 21 + 2 * 4) << at << ": no storm";
    }
  }
}

TEST(Segments, AGapIsComplainedOfOnceARound) {
  CAssembly assembly;
  const auto take = [&](int sequence) {
    return assembly.take({static_cast<std::uint8_t>(sequence), 8, true}, "x").ack;
  };
  EXPECT_FALSE(take(1)) << "nothing can be said before the first";
  ASSERT_TRUE(take(0));
  EXPECT_FALSE(take(1));
  const auto complaint = take(3);
  ASSERT_TRUE(complaint);
  EXPECT_TRUE(complaint->isNegative);
  EXPECT_EQ(complaint->sequence, 1);
  EXPECT_FALSE(take(4));
  EXPECT_TRUE(take(3)) << "the sender has begun anew and lost the same again";
  EXPECT_FALSE(take(2));
  EXPECT_EQ(assembly.message(), "xxx");
}

TEST(Segments, ARepetitionThatBeginsBeforeOurWindowIsAcknowledged) {
  CAssembly assembly;
  const auto take = [&](std::uint8_t sequence) { return assembly.take({sequence, 4, true}, "x").ack; };
  take(0);
  take(1);
  ASSERT_TRUE(take(3)) << "complained of, which the sender does not hear";
  EXPECT_FALSE(take(2) || take(3) || take(4)) << "three of four since then; the sender's window ends here";
  std::optional<SegmentAck> ack;
  for (int i = 1; i <= 4; ++i) ack = take(static_cast<std::uint8_t>(i));
  ASSERT_TRUE(ack);
  EXPECT_EQ(ack->sequence, 4);
}

TEST(Segments, TooMuchIsRefusedWithoutGrowing) {
  CAssembly assembly(25);
  const std::string piece(10, 'x');
  for (std::uint8_t i = 0; i < 2; ++i) EXPECT_EQ(assembly.take({i, 1, true}, piece).step, CAssembly::Step::kMore);
  EXPECT_EQ(assembly.take({2, 1, true}, piece).step, CAssembly::Step::kTooLarge);
  EXPECT_EQ(assembly.message().size(), 20);
}

}  // namespace
