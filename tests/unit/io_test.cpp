#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <system_error>

#include "io/event_loop.h"
#include "io/fake/fake_network.h"
#include "io/network_interfaces.h"
#include "io/udp_datagrams.h"
#include "support/loop_fixture.h"

namespace {

using namespace std::chrono_literals;
using io::Address;
using io::CTimer;
using testing::ElementsAre;

constexpr std::uint32_t kLoopback = 0x7F000001;
using Texts = std::vector<std::string>;

TEST(Addresses, OnlyWholePlainOnesAreRead) {
  EXPECT_EQ(io::parseAddress("192.0.2.7", 5), (Address{0xC0000207, 5}));
  EXPECT_EQ(io::parseAddress("0.0.0.0:1", 5), (Address{0, 1}));
  EXPECT_EQ(io::parseAddress("255.255.255.255:65535", 5), (Address{0xFFFFFFFF, 65535}));
  for (const char* none : {"1.2.3", "1.2.3.4.5", "1.2.3.256", "01.2.3.4", "1.2.3.4:0", "1.2.3.4:65536",
                           "1.2.3.4:", "1.2.3.-4", " 1.2.3.4", "1.2.3.4 ", ""})
    EXPECT_EQ(io::parseAddress(none, 5), std::nullopt) << none;
  EXPECT_EQ(io::parseIp("1.2.3.4:5"), std::nullopt);
  EXPECT_EQ(io::addressText({0xC0000207, 47808}), "192.0.2.7:47808");
}

TEST(FakeClock, TimersComeInOrderAndCancelledOnesDoNot) {
  io::CFakeClock clock;
  std::string order;
  CTimer second = clock.after(2s, [&] { order += 'b'; });
  CTimer first = clock.after(1s, [&] { order += 'a'; });
  CTimer same = clock.after(2s, [&] { order += 'c'; });
  CTimer dropped = clock.after(2s, [&] { order += 'x'; });
  CTimer again;
  CTimer chained = clock.after(1s, [&] {
    dropped.cancel();
    again = clock.after(0s, [&] { order += '1'; });
  });
  CTimer self;
  self = clock.after(3s, [&] { self.cancel(); });
  clock.advance(1500ms);
  EXPECT_EQ(order, "a1");
  EXPECT_TRUE(clock.runUntil([&] { return order == "a1bc"; }, 10s));
  EXPECT_FALSE(clock.runUntil([] { return false; }, 1s));
  EXPECT_TRUE(clock.isIdle());
}

TEST(FakeNetwork, DeliversAsToldAndTheSameWayEachTime) {
  const auto run = [](std::uint32_t seed) {
    io::CFakeClock clock;
    io::CFakeNetwork network(clock);
    network.setWeather({0.2, 0.2, 0.2, 0.2}, seed);
    const auto receiver = network.open({1, 10});
    const auto sender = network.open({2, 10});
    Texts got;
    receiver->onReceive([&](const Address&, std::string_view bytes) { got.emplace_back(bytes); });
    for (int i = 0; i < 100; ++i) {
      sender->send({1, 10}, std::to_string(i) + "........");
      clock.advance(2ms);
    }
    clock.advance(1s);
    return got;
  };
  const Texts got = run(7);
  EXPECT_EQ(got, run(7));
  EXPECT_NE(got, run(8));
  EXPECT_FALSE(std::is_sorted(got.begin(), got.end()));
}

TEST(FakeNetwork, BroadcastsPeersAndClosedPorts) {
  io::CFakeClock clock;
  io::CFakeNetwork network(clock);
  network.addBroadcastAddress(255);
  network.setRefuses(true);
  Texts heard;
  const auto hear = [&](io::CDatagrams& socket, const char* name) {
    socket.onReceive([&heard, name](const Address&, std::string_view bytes) {
      heard.push_back(std::string(name) + ' ' + std::string(bytes));
    });
  };
  const auto any = network.open({1, 10});
  const auto connected = network.open({1, 10}, Address{2, 10});
  const auto listener = network.open({255, 10});
  const auto sender = network.open({2, 10});
  const auto other = network.open({3, 10});
  hear(*any, "any");
  hear(*connected, "connected");
  hear(*listener, "listener");
  hear(*sender, "sender");
  std::vector<Address> refused;
  sender->onRefused([&](const Address& to) { refused.push_back(to); });

  sender->send({255, 10}, "to all");
  sender->send({1, 10}, "to one");
  other->send({1, 10}, "to one");
  sender->send({9, 9}, "to nobody");
  clock.advance(1s);
  EXPECT_THAT(heard, ElementsAre("any to all", "listener to all", "connected to one", "any to one"));
  EXPECT_THAT(refused, ElementsAre(Address{9, 9}));
  EXPECT_EQ(network.sent().size(), 4U);
}

struct EventLoop : testing::Test {
  EventLoop() : giveUp(loop.after(10s, [this] { loop.stop(99); })) {}

  io::CEventLoop loop;
  CTimer giveUp;
};

TEST_F(EventLoop, ADescriptorThatIsUnwatchedInItsTurnIsNotHandled) {
  int pipes[2][2];
  int calls = 0;
  for (auto& each : pipes) ASSERT_EQ(pipe(each), 0);
  for (auto& each : pipes) {
    ASSERT_EQ(write(each[1], "x", 1), 1);
    ASSERT_TRUE(loop.watch(each[0], EPOLLIN, [&](std::uint32_t) {
      ++calls;
      for (auto& both : pipes) loop.unwatch(both[0]);
    }));
  }
  const CTimer end = loop.after(20ms, [&] { loop.stop(3); });
  EXPECT_EQ(loop.run(), 3);
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(loop.change(pipes[0][0], EPOLLIN));
  for (auto& each : pipes) close(each[0]), close(each[1]);
}

TEST_F(EventLoop, SignalsArriveAndStopLeavesTheRestAlone) {
  std::string order;
  loop.onSignals({SIGUSR1}, [&](int signal) { order += signal == SIGUSR1 ? 's' : '?'; });
  const CTimer raiser = loop.at(loop.now(), [&] { raise(SIGUSR1); });
  const CTimer end = loop.after(20ms, [&] { loop.stop(5); });
  const CTimer never = loop.after(20ms, [&] { order += 'x'; });
  EXPECT_EQ(loop.run(), 5);
  EXPECT_EQ(order, "s");
}

TEST_F(EventLoop, ATurnHasOneTime) {
  io::TimePoint turn;
  const CTimer first = loop.at(loop.now(), [&] {
    turn = loop.now();
    while (io::Clock::now() <= turn + 1ms) continue;
    EXPECT_EQ(loop.now(), turn);
  });
  const CTimer next = loop.after(2ms, [&] {
    EXPECT_GE(loop.now(), turn + 1ms);
    loop.stop(0);
  });
  EXPECT_EQ(loop.run(), 0);
  EXPECT_GT(loop.now(), turn + 1ms) << "outside it is the clock's";
}

struct Udp : support::LoopFixture {
  using Socket = io::CUdpDatagrams;
  const io::UdpOptions anywhere{{kLoopback, 0}, false, {}};
};

TEST_F(Udp, AConnectedSocketOfASharedPortGetsItsPeersDatagramsOnly) {
  Socket peer(loop, anywhere);
  Socket stranger(loop, anywhere);
  Socket open(loop, {{io::kAnyIp, 0}, true, {}});
  const Address here{kLoopback, open.local().port};
  Socket connected(loop, {{io::kAnyIp, here.port}, true, peer.local()});
  EXPECT_THROW(Socket(loop, {{io::kAnyIp, here.port}, false, {}}), std::system_error);

  std::string order;
  open.onReceive([&](const Address& from, std::string_view bytes) {
    EXPECT_EQ(from, stranger.local());
    order += bytes;
  });
  connected.onReceive([&](const Address& from, std::string_view bytes) {
    EXPECT_EQ(from, peer.local());
    order += bytes;
  });
  peer.send(here, "p");
  peer.send(here, std::string(Socket::kLongest + 1, 'l'));
  serveUntil([&] { return order == "p"; });
  stranger.send(here, "s");
  serveUntil([&] { return order == "ps"; });
  std::string answer;
  peer.onReceive([&](const Address& from, std::string_view bytes) {
    EXPECT_EQ(from, here);
    answer += bytes;
  });
  connected.send(peer.local(), "a");
  open.send(peer.local(), "b");
  serveUntil([&] { return answer.size() == 2; });
}

TEST_F(Udp, AClosedPortIsToldAndDoesNotStick) {
  if (!std::string(EMULATOR).empty())
    GTEST_SKIP() << "the emulator does not hand on what the kernel says of closed ports";
  std::optional<Socket> peer(std::in_place, loop, anywhere);
  const Address there = peer->local();
  Socket open(loop, anywhere);
  Socket connected(loop, {{kLoopback, 0}, false, there});
  peer.reset();
  for (Socket* socket : {&open, &connected}) {
    std::vector<Address> refused;
    socket->onRefused([&](const Address& to) { refused.push_back(to); });
    socket->send(there, "1");
    socket->send(there, "2");
    serveUntil([&] { return refused.size() >= 2; });
    EXPECT_EQ(refused[0], there);
    socket->send(there, "unheard: the next one meets what became of it");

    peer.emplace(loop, io::UdpOptions{there, false, {}});
    int received = 0;
    peer->onReceive([&](const Address&, std::string_view bytes) { received += bytes == "3"; });
    socket->send(there, "3");
    serveUntil([&] { return received == 1; });
    peer.reset();
  }
}

// In a network namespace of its own, where there is one to be had.
TEST_F(Udp, AConnectedSocketFollowsThisMachinesAddress) {
  const auto run = [](const char* commands) { return std::system(commands) == 0; };
  const uid_t uid = geteuid();
  const auto follow = [&] {
    if (unshare(uid == 0 ? CLONE_NEWNET : CLONE_NEWUSER | CLONE_NEWNET) != 0 ||
        (uid != 0 && !(std::ofstream("/proc/self/uid_map") << "0 " << uid << " 1" << std::flush)) ||
        !run("ip link add v0 type veth peer name v1 && ip link set v0 up && ip link set v1 up && "
             "ip addr add 192.0.2.1/24 dev v0")) {
      _exit(2);
    }
    const Address peer{0xC0000209, 47808};
    io::CEventLoop inside;
    Socket shared(inside, {{io::kAnyIp, 47808}, true, peer});
    Socket own(inside, {{io::kAnyIp, 0}, false, peer});
    for (const char* commands : {"ip addr del 192.0.2.1/24 dev v0", "ip addr add 192.0.2.7/24 dev v0"}) {
      if (!run(commands)) _exit(2);
      for (Socket* socket : {&shared, &own}) socket->send(peer, "x");
    }
    const bool isThere = shared.local() == Address{0xC0000207, 47808} && own.local().ip == 0xC0000207;
    _exit(isThere ? 0 : 1);
  };
  int status = 0;
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) follow();
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 2) GTEST_SKIP() << "no network namespace, or no ip command, is to be had here";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(Udp, WhatCameDuringAStandstillGoesBeforeTheTimersForAWhile) {
  Socket peer(loop, anywhere);
  int received = 0;
  peer.onReceive([&](const Address& from, std::string_view bytes) {
    if (++received == 1000) loop.stop(1);
    peer.send(from, bytes);  // without end
  });
  for (int i = 0; i < 3; ++i) peer.send(peer.local(), "x");
  const CTimer late = loop.at(loop.now() - 1s, [&] { loop.stop(0); });
  EXPECT_EQ(loop.run(), 0);
  EXPECT_GE(received, 3);
}

TEST_F(Udp, AHandlerMayDestroyItsSocket) {
  Socket sender(loop, anywhere);
  auto receiver = std::make_unique<Socket>(loop, anywhere);
  int received = 0;
  receiver->onReceive([&](const Address&, std::string_view) {
    ++received;
    receiver.reset();
  });
  for (int i = 0; i < 3; ++i) sender.send(receiver->local(), "x");
  serveUntil([&] { return !receiver; });
  EXPECT_EQ(received, 1);
}

TEST(NetworkInterfaces, TheLoopbackIsOneAndLeadsToItself) {
  const auto loopback = io::interfaceTowards(0x7F000002);
  ASSERT_TRUE(loopback);
  EXPECT_EQ(loopback->name, "lo");
  EXPECT_EQ(loopback->broadcast, 0x7FFFFFFFU);
}

}  // namespace
