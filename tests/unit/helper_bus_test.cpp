#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <deque>

#include "cbl/bus/velix_message.h"
#include "cbl/net/descriptor.h"
#include "helper/bus/bus_server.h"
#include "support/frame_encoder.h"
#include "support/loop_fixture.h"
#include "support/process_state.h"
#include "support/temp_dir.h"

namespace {

using helper::CFrameCutter;
using helper::CReplySlot;
using support::messageFrame;
using testing::ElementsAre;
using Texts = std::vector<std::string>;

TEST(FrameCutter, FramesAreFoundHoweverTheirBytesComeIn) {
  const std::string first = messageFrame({"a", "VLX"}, 1);
  const std::string second = messageFrame({"b"}, 2);
  const std::string stream = "VLVnoise" + first + "VL" + second;
  for (std::size_t split = 0; split <= stream.size(); ++split) {
    CFrameCutter cutter;
    Texts cut;
    for (const std::string& part : {stream.substr(0, split), stream.substr(split)}) {
      cutter.append(part.data(), part.size());
      for (std::string_view frame; cutter.next(frame) == CFrameCutter::Cut::kFrame;) cut.emplace_back(frame);
    }
    EXPECT_THAT(cut, ElementsAre(first, second)) << split;
  }
}

TEST(FrameCutter, WhatCannotBeAFrameIsRefused) {
  const struct {
    const char* start;
    CFrameCutter::Cut cut;
  } cases[] = {{"VLX\2", CFrameCutter::Cut::kRefused},
               {"VLX\1????????????????\x00\x10\x00\x01", CFrameCutter::Cut::kRefused},
               {"VLX\1????????????????\x00\x10\x00\x00", CFrameCutter::Cut::kMore}};
  for (const auto& each : cases) {
    CFrameCutter cutter;
    const std::size_t length = each.start[3] == 2 ? 4 : 24;
    cutter.append(each.start, length);
    std::string_view frame;
    EXPECT_EQ(cutter.next(frame), each.cut);
  }
}

class Client {
 public:
  explicit Client(const sockaddr_un& address)
      : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    EXPECT_EQ(connect(socket_.number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  }
  void send(const std::string& bytes) const {
    EXPECT_EQ(::send(socket_.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
  }
  void leave() { socket_.reset(-1); }
  /// The codes of the replies so far.
  const Texts& codes() {
    char block[65536];
    const ssize_t count = recv(socket_.number(), block, sizeof(block), 0);
    isClosed = count == 0;
    if (count > 0) received_.append(block, static_cast<std::size_t>(count));
    for (std::string_view bytes; received_.next(bytes) == CFrameCutter::Cut::kFrame;) {
      cbl::BusFrameInfo frame;
      cbl::CVelixMessage reply;
      EXPECT_GT(cbl::CBusProtocol().unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()), frame), 0);
      EXPECT_GT(reply.load(frame.body), 0);
      EXPECT_EQ(frame.type, 1);
      codes_.push_back(std::to_string(frame.identifier) + ":" + reply.at(1));
    }
    return codes_;
  }

  bool isClosed = false;

 private:
  cbl::CDescriptor socket_;
  CFrameCutter received_;
  Texts codes_;
};

// Keeps the slots of what comes in.
struct BusServer : support::LoopFixture, helper::CFrameHandler {
  BusServer() {
    address.sun_family = AF_UNIX;
    dir.file("bus.sock").copy(address.sun_path, sizeof(address.sun_path) - 1);
    EXPECT_EQ(bind(listener.number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(listen(listener.number(), 8), 0);
    std::string error;
    EXPECT_TRUE(log.open(dir.file("log"), error)) << error;
    server.emplace(loop, listener.number(), *this, log);
    EXPECT_TRUE(server->start());
  }
  void onFrame(const cbl::BusFrameInfo&, CReplySlot slot) override { slots.push_back(std::move(slot)); }

  static std::string request(std::uint32_t identifier) { return messageFrame({"f"}, identifier, 1); }
  void answer(std::size_t index, const std::string& code) {
    slots[index].answer(messageFrame({"f", code}, slots[index].identifier(), 1));
  }

  const support::TempDir dir;
  sockaddr_un address{};
  const cbl::CDescriptor listener{socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)};
  helper::CHelperLog log;
  std::deque<CReplySlot> slots;
  std::optional<helper::CBusServer> server;  // goes before the slots: they may outlive it
};

TEST_F(BusServer, RepliesKeepTheOrderOfTheirRequestsAndOthersAreServedMeanwhile) {
  Client slow(address);
  Client quick(address);
  slow.send(request(1) + request(0xFFFFFFFE) + request(3));
  serveUntil([&] { return slots.size() == 3; });
  quick.send(request(9));
  serveUntil([&] { return slots.size() == 4; });
  answer(2, "c");
  answer(3, "d");
  answer(1, "b");
  serveUntil([&] { return quick.codes().size() == 1; });
  EXPECT_TRUE(slow.codes().empty());
  answer(0, "a");
  serveUntil([&] { return slow.codes().size() == 3; });
  EXPECT_THAT(slow.codes(), ElementsAre("1:a", "4294967294:b", "3:c"));
}

TEST_F(BusServer, ADroppedSlotAnswersACodeAndAClientThatLeftNothing) {
  Client client(address);
  Client gone(address);
  client.send(request(1));
  gone.send(request(2));
  serveUntil([&] { return slots.size() == 2; });
  gone.leave();
  const bool isFirst = slots[0].identifier() == 1;
  CReplySlot late = std::move(slots[isFirst ? 1 : 0]);
  slots.clear();
  serveUntil([&] { return client.codes().size() == 1; });
  EXPECT_THAT(client.codes(), ElementsAre("1:20"));
  late.answer(request(2));

  client.send(request(3));
  serveUntil([&] { return slots.size() == 1; });
  server.reset();
  answer(0, "after the server");
  client.codes();
  EXPECT_TRUE(client.isClosed);
}

TEST_F(BusServer, AClientWithTooManyUnansweredIsNotReadFrom) {
  constexpr std::size_t kMost = 64;
  Client client(address);
  std::string many;
  for (std::uint32_t i = 0; i < kMost + 2; ++i) many += request(i);
  client.send(many);
  serveUntil([&] { return slots.size() == kMost; });
  Client other(address);
  other.send(request(1000));
  serveUntil([&] { return slots.size() == kMost + 1; });
  EXPECT_EQ(slots.back().identifier(), 1000U);
  for (std::size_t i = 0; i < kMost; ++i) answer(i, "0");
  serveUntil([&] { return slots.size() == kMost + 3 && client.codes().size() == kMost; });
}

TEST_F(BusServer, ADamagedFrameClosesItsClientOnly) {
  Client good(address);
  Client bad(address);
  std::string damaged = request(1);
  damaged.back() = static_cast<char>(~damaged.back());
  bad.send(damaged);
  serveUntil([&] { return bad.codes().empty() && bad.isClosed; });
  good.send(request(2));
  serveUntil([&] { return slots.size() == 1; });
}

TEST_F(BusServer, WithoutDescriptorsTheNextClientWaitsAndTheLoopRests) {
  Client client(address);
  rlimit usual{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &usual), 0);
  const int next = dup(0);  // the lowest number that is free
  close(next);
  const rlimit none{static_cast<rlim_t>(next), usual.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  int turns = 0;
  client.send(request(1));
  serveUntil([&] { return ++turns == 300; });
  EXPECT_TRUE(slots.empty());
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &usual), 0);
  const std::string logged = support::readFile(dir.file("log"));
  EXPECT_EQ(std::count(logged.begin(), logged.end(), '\n'), 1) << logged;
  serveUntil([&] { return slots.size() == 1; });
}

}  // namespace
