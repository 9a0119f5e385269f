#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <mutex>
#include <optional>

#include "cbl/bus/receive_buffer.h"
#include "cbl/bus/tcp_client_unix.h"
#include "cbl/bus/velix_client.h"
#include "support/bus_peer.h"
#include "support/temp_dir.h"

namespace {

using cbl::BusFrameInfo;
using support::BusPeer;
using support::messageFrame;
using support::PeerAnswer;
using support::PeerRequest;
using Clock = std::chrono::steady_clock;
using Strings = std::vector<std::string>;
using std::chrono::milliseconds;

constexpr std::size_t kMagicLength = 3;
constexpr auto kReplyWait = milliseconds(3000);
constexpr auto kBusyMachine = milliseconds(2000);

const Strings kReply = {"func@bac_read", "0", "16384,0"};

std::vector<std::string> goldenFrames() {
  return {messageFrame({"func@bac_read", "7", "4"}, 1), messageFrame(kReply, 2),
          messageFrame({"func@bac_multi_read", "0", "1,-2", "", "70000,3"}, 0xFFFFFFFFU, 1),
          messageFrame({"func@bac_read", "0", std::string(2000, '7')}, 4, 0, true)};
}

std::string flipped(std::string frame, std::size_t bit) {
  frame[bit / 8] = static_cast<char>(frame[bit / 8] ^ (1 << (bit % 8)));
  return frame;
}

// The first frame found while the pieces come in one after the other.
std::optional<BusFrameInfo> feed(const std::vector<std::string>& pieces) {
  const cbl::CBusProtocol protocol;
  cbl::CReceiveBuffer buffer(4096);
  BusFrameInfo info;
  for (const std::string& piece : pieces) {
    buffer.append(piece.data(), static_cast<std::int32_t>(piece.size()));
    if (protocol.findAndUnpack(buffer.data(), static_cast<std::int32_t>(buffer.size()), info) > 0) return info;
  }
  return std::nullopt;
}

std::vector<std::string> splitAt(const std::string& bytes, std::size_t place) {
  return {bytes.substr(0, place), bytes.substr(place)};
}

TEST(Damage, AFlippedBitOrACutIsRefusedWhereverTheBytesAreSplit) {
  for (const std::string& frame : goldenFrames()) {
    const std::optional<BusFrameInfo> whole = feed({frame});
    ASSERT_TRUE(whole);
    for (std::size_t place = 1; place < frame.size(); ++place) {
      const std::optional<BusFrameInfo> found = feed(splitAt(frame, place));
      ASSERT_TRUE(found) << place;
      EXPECT_EQ(found->body, whole->body);
      EXPECT_FALSE(feed({frame.substr(0, place)})) << place;
      EXPECT_FALSE(feed({frame.substr(place)})) << place;
      for (std::size_t bit = 0; bit < 8 * frame.size(); ++bit) {
        ASSERT_FALSE(feed(splitAt(flipped(frame, bit), place))) << "bit " << bit << ", split at " << place;
      }
    }
  }
}

TEST(Damage, WhatFollowsADamagedFrameIsItselfOrNothing) {
  const std::string next = messageFrame({"func@bac_read", "0", "5,6"}, 3);
  const std::string nextBody = feed({next})->body;
  for (const std::string& frame : goldenFrames()) {
    for (std::size_t bit = 0; bit < 8 * frame.size(); ++bit) {
      const std::optional<BusFrameInfo> found = feed({flipped(frame, bit), next});
      EXPECT_EQ(found.has_value(), bit < 8 * kMagicLength) << bit;  // without its magic it is foreign bytes
      EXPECT_TRUE(!found || found->body == nextBody) << bit;
    }
  }
}

/// A client whose peer answers a call with the given bytes.
class DamagedReply : public testing::Test {
 protected:
  void answer(PeerAnswer next) {
    const std::lock_guard lock(mutex_);
    answer_ = std::move(next);
  }
  // The peer hangs up behind the bytes, so that nobody waits for more.
  void answerAndHangUp(const std::string& bytes) {
    PeerAnswer next = bytes.empty() ? PeerAnswer() : PeerAnswer(bytes);
    next.close = true;
    answer(next);
  }
  bool call(velix::CVelixClient& client) {
    client.setSocketPath(peer_.path());
    cbl::CVelixMessage request;
    request.push_back("func@bac_read");
    elements_ = {"kept"};
    cbl::CVelixMessage reply;
    reply.push_back("kept");
    const bool answered = client.call(request, reply);
    elements_ = reply;
    return answered;
  }
  bool callAnew() {
    velix::CVelixClient client;
    return call(client);
  }

  Strings elements_;

 private:
  const support::TempDir dir_;
  std::mutex mutex_;  // the answer is read on the peer's thread
  PeerAnswer answer_;
  BusPeer peer_{dir_.file("bus.sock"), [this](const PeerRequest&) {
                  const std::lock_guard lock(mutex_);
                  return answer_;
                }};
};

TEST_F(DamagedReply, IsNoAnswerAndLeavesTheMessageAlone) {
  const std::string frame = messageFrame(kReply, 1);
  for (std::size_t bit = 0; bit < 8 * frame.size(); ++bit) {
    answerAndHangUp(flipped(frame, bit));
    EXPECT_FALSE(callAnew()) << bit;
    EXPECT_EQ(elements_, Strings{"kept"});
  }
  for (std::size_t length = 0; length < frame.size(); ++length) {
    answerAndHangUp(frame.substr(0, length));
    EXPECT_FALSE(callAnew()) << length;
    EXPECT_EQ(elements_, Strings{"kept"});
  }
}

TEST_F(DamagedReply, AWholeOneIsTheAnswerWhereverItIsSplit) {
  const std::string frame = messageFrame(kReply, 1);
  for (std::size_t place = 1; place < frame.size(); ++place) {
    answer(splitAt(frame, place));
    EXPECT_TRUE(callAnew()) << place;
    EXPECT_EQ(elements_, kReply);
  }
}

TEST_F(DamagedReply, OnlyANewClientReadsOn) {
  const std::string frame = messageFrame(kReply, 1);
  for (const bool inMagic : {true, false}) {
    velix::CVelixClient client;
    answerAndHangUp(flipped(frame, inMagic ? 5 : 50));
    EXPECT_FALSE(call(client));
    answerAndHangUp(frame);
    for (int attempt = 0; attempt < 3; ++attempt) EXPECT_EQ(call(client), inMagic);
    EXPECT_EQ(elements_, inMagic ? kReply : Strings{"kept"});
    EXPECT_TRUE(callAnew());
  }
}

TEST_F(DamagedReply, IsWaitedOutOnce) {
  answer(flipped(messageFrame(kReply, 1), 50));
  const auto start = Clock::now();
  EXPECT_FALSE(callAnew());
  EXPECT_GE(Clock::now() - start, kReplyWait - milliseconds(10));
  EXPECT_LT(Clock::now() - start, kReplyWait + kBusyMachine);
}

TEST(UnreadRequest, ThatHasBegunGoesOnUntilAnotherThreadCloses) {
  const support::TempDir dir;
  const BusPeer peer(dir.file("bus.sock"), nullptr, BusPeer::Mode::kNeverRead);
  cbl::CTcpClientUnix client;
  client.setUnixPath(peer.path());
  ASSERT_EQ(client.connect(1000, ""), 0);
  const std::string longerThanTheBuffer(8 << 20, 'x');
  std::future<std::int32_t> sent = std::async(std::launch::async, [&] {
    return client.send(longerThanTheBuffer.data(), static_cast<std::int32_t>(longerThanTheBuffer.size()), 100);
  });
  EXPECT_EQ(sent.wait_for(milliseconds(1000)), std::future_status::timeout);  // ten times the call's own time-out
  client.close();
  ASSERT_EQ(sent.wait_for(kBusyMachine), std::future_status::ready);
  EXPECT_EQ(sent.get(), -4);
}

}  // namespace
