#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <mutex>

#include "cbl/bus/tcp_client_unix.h"
#include "support/bus_peer.h"
#include "support/loopback_port.h"
#include "support/poll.h"
#include "support/process_state.h"
#include "support/temp_dir.h"

namespace {

using support::BusPeer;
using support::PeerAnswer;
using support::PeerRequest;
using support::waitUntil;

class Stream : public testing::Test {
 protected:
  std::int32_t send(const std::string& bytes, std::int32_t timeoutMs = 1000) {
    return client.send(bytes.data(), static_cast<std::int32_t>(bytes.size()), timeoutMs);
  }
  std::int32_t recv(std::int32_t timeoutMs = 5000) { return client.recv(buffer, sizeof(buffer), timeoutMs); }

  const support::TempDir dir;
  const std::string path = dir.file("bus.sock");
  cbl::CTcpClientUnix client;
  char buffer[64] = {};
};

TEST_F(Stream, NothingGoesWithoutAnAddress) {
  EXPECT_EQ(client.setUnixPath(""), -1);
  EXPECT_EQ(client.setTcpAddress("", 80), -1);
  EXPECT_EQ(client.setTcpAddress("127.0.0.1", 65536), -1);
  EXPECT_EQ(client.connect(100, ""), -127);
  EXPECT_EQ(client.setTcpAddress("127.0.0.1", -1), 0);
  EXPECT_EQ(client.connect(100, ""), -127);
  EXPECT_EQ(client.setUnixPath(path), 0);
  EXPECT_EQ(client.connect(100, ""), -1);
  EXPECT_EQ(send("x"), -2);
  EXPECT_EQ(recv(), -1);
  EXPECT_EQ(client.close(), 0);
  EXPECT_FALSE(client.isConnected());
}

TEST_F(Stream, SendsConnectingFirstAndReceives) {
  const std::string reply = support::messageFrame({"reply"}, 1);
  BusPeer peer(path, [&](const PeerRequest&) { return PeerAnswer(reply); });
  client.setUnixPath(path);
  const std::string request = support::messageFrame({"request", std::string(4 << 20, 'x')}, 1);
  EXPECT_EQ(send(request), static_cast<std::int32_t>(request.size())) << "more than the socket's buffers hold";
  EXPECT_TRUE(client.isConnected());
  ASSERT_EQ(recv(), static_cast<std::int32_t>(reply.size()));
  EXPECT_EQ(std::string(buffer, reply.size()), reply);
  EXPECT_EQ(peer.requests().size(), 1U);

  EXPECT_EQ(client.send(nullptr, 1, 100), -1);
  EXPECT_EQ(client.send("x", 0, 100), -1);
  EXPECT_EQ(client.recv(nullptr, 1, 100), -1);
  EXPECT_EQ(client.recv(buffer, 0, 100), -1);
  EXPECT_EQ(recv(20), 0) << "time-out";
  EXPECT_TRUE(client.isConnected());
}

TEST_F(Stream, NoticesThatThePeerHasClosed) {
  BusPeer peer(path);
  client.setUnixPath(path);
  ASSERT_EQ(client.connect(1000, ""), 0);
  ASSERT_TRUE(waitUntil([&] { return peer.accepted() == 1; }));
  peer.closeConnections();
  EXPECT_EQ(recv(), 0);
  EXPECT_FALSE(client.isConnected());
  EXPECT_EQ(recv(), -1);

  ASSERT_EQ(client.connect(1000, ""), 0);
  ASSERT_TRUE(waitUntil([&] { return peer.accepted() == 2; }));
  peer.closeConnections();
  ASSERT_TRUE(waitUntil([&] { return peer.openConnections() == 0; }));
  EXPECT_EQ(send("x"), -4);
  EXPECT_FALSE(client.isConnected());
  EXPECT_GT(send(support::messageFrame({"again"}, 1)), 0);
  EXPECT_TRUE(waitUntil([&] { return peer.requests().size() == 1; }));
  EXPECT_EQ(peer.accepted(), 3);
}

TEST_F(Stream, APeerThatNeverReadsCostsTheTimeOutUntilSendingHasBegun) {
  std::promise<void> gate;
  BusPeer peer(path, [&](const PeerRequest&) { return gate.get_future().wait(), PeerAnswer(); });
  client.setUnixPath(path);
  send(support::messageFrame({"the last that is read"}, 1));
  EXPECT_EQ(send(std::string(100000, 'x'), 200), 100000);
  EXPECT_EQ(send(std::string(100000, 'x'), 200), 0) << "there is room, but not enough to begin";
  peer.send("pushed");
  EXPECT_EQ(recv(), 6);
  EXPECT_EQ(send("x", 100), 0) << "what a peer pushes says nothing about what it has read";
  EXPECT_EQ(client.sendToIdlePeer("x", 1, 100), 1);
  client.close();
  client.setIoTimeout(30);
  auto begun = std::async(std::launch::async, [&] { return send(std::string(8 << 20, 'x'), 100); });
  EXPECT_EQ(begun.wait_for(std::chrono::milliseconds(500)), std::future_status::timeout);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(send(std::string(100, 'x'), 200), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
  EXPECT_TRUE(client.isConnected());
  client.close();
  EXPECT_EQ(begun.get(), -4);
  gate.set_value();
}

TEST_F(Stream, SpeaksTcp) {
  const support::LoopbackPort server(false);
  EXPECT_EQ(client.setTcpAddress("127.0.0.1", server.port), 0);
  EXPECT_EQ(client.connect(1000, ""), -2) << "nobody listens";
  EXPECT_EQ(client.connect(1000, "no_such_if"), -1);

  ASSERT_EQ(listen(server.descriptor.number(), 1), 0);
  ASSERT_EQ(client.connect(1000, ""), 0);
  EXPECT_EQ(client.setTcpAddress("127.0.0.1", server.port), 0);
  EXPECT_TRUE(client.isConnected()) << "the same address keeps the connection";
  EXPECT_EQ(client.setUnixPath(""), -1);
  EXPECT_TRUE(client.isConnected());
  const cbl::CDescriptor accepted(accept4(server.descriptor.number(), nullptr, nullptr, SOCK_CLOEXEC));
  EXPECT_EQ(send("ping"), 4);
  EXPECT_EQ(::recv(accepted.number(), buffer, sizeof(buffer), 0), 4);
  EXPECT_EQ(::send(accepted.number(), "pong!", 5, MSG_NOSIGNAL), 5);
  EXPECT_EQ(recv(), 5);
  EXPECT_EQ(client.setUnixPath(path), 0);
  EXPECT_FALSE(client.isConnected()) << "another address closes it";
}

class ReceiveThread : public testing::Test {
 protected:
  ReceiveThread() { client->setUnixPath(peer.path()); }

  /// Turns auto receive on with a callback that collects the bytes, and owns something that uses the client when it
  /// goes.
  std::int32_t collect() {
    const std::shared_ptr<cbl::CTcpClientUnix> owned(client.get(), [](auto* used) { used->isConnected(); });
    return client->enableAutoRecv(true, [this, owned](const char* bytes, std::int32_t length) {
      const std::lock_guard lock(mutex);
      collected.append(bytes, static_cast<std::size_t>(length));
      return 0;
    });
  }
  bool arrived(const std::string& bytes) {
    return waitUntil([&] {
      const std::lock_guard lock(mutex);
      return collected == bytes;
    });
  }
  bool connected(std::size_t count = 1) {
    return waitUntil([&] { return peer.openConnections() == count; });
  }

  const support::TempDir dir;
  BusPeer peer{dir.file("bus.sock")};
  std::mutex mutex;
  std::string collected;
  std::unique_ptr<cbl::CTcpClientUnix> client = std::make_unique<cbl::CTcpClientUnix>();  // goes first
};

TEST_F(ReceiveThread, OwnsTheInputWhileItRuns) {
  char buffer[16];
  client->setUnixPath(dir.file("missing"));
  EXPECT_EQ(client->enableAutoRecv(true, nullptr), -1);
  EXPECT_EQ(collect(), -2);
  EXPECT_FALSE(client->isAutoRecv());
  client->setUnixPath(peer.path());
  EXPECT_EQ(collect(), 0) << "connects by itself";
  EXPECT_TRUE(client->isAutoRecv());
  ASSERT_TRUE(connected());
  peer.send("first");
  EXPECT_TRUE(arrived("first"));
  EXPECT_EQ(client->recv(buffer, sizeof(buffer), 100), -2);
  const std::string large(100000, 'x');
  peer.send(large);
  EXPECT_TRUE(arrived("first" + large));

  EXPECT_EQ(client->enableAutoRecv(false, nullptr), 0);
  peer.send("second");
  EXPECT_EQ(client->recv(buffer, sizeof(buffer), 5000), 6) << "the connection stays";
  EXPECT_EQ(peer.accepted(), 1);
}

TEST_F(ReceiveThread, LeavesNothingBehind) {
  const std::size_t threads = support::threadCount();
  ASSERT_EQ(collect(), 0);
  ASSERT_EQ(client->stopAutoRecv(), 0);
  ASSERT_TRUE(connected());
  const std::size_t descriptors = support::descriptorCount();
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(collect(), 0);
    if (i % 2 == 0) {
      ASSERT_EQ(collect(), 0) << "replaces the running one";
    }
    ASSERT_EQ(client->stopAutoRecv(), 0);
  }
  EXPECT_EQ(support::descriptorCount(), descriptors);
  EXPECT_TRUE(waitUntil([&] { return support::threadCount() == threads; }));
  EXPECT_EQ(peer.accepted(), 1);
}

TEST_F(ReceiveThread, ReconnectsOnceAndEndsWhenThePeerCloses) {
  ASSERT_EQ(collect(), 0);
  ASSERT_TRUE(connected());
  peer.closeConnections();
  ASSERT_TRUE(waitUntil([&] { return peer.accepted() == 2; }));
  ASSERT_TRUE(waitUntil([&] { return client->isConnected() && !client->isAutoRecv(); }));
  peer.send("left for recv");
  char buffer[32];
  EXPECT_EQ(client->recv(buffer, sizeof(buffer), 5000), 13);

  EXPECT_EQ(collect(), 0) << "on again after it ended by itself";
  peer.send("again");
  EXPECT_TRUE(arrived("again"));
  EXPECT_EQ(peer.accepted(), 2);
}

TEST_F(ReceiveThread, IsClosedWhileItWaitsToReconnect) {
  const std::size_t threads = support::threadCount();
  ASSERT_EQ(collect(), 0);
  ASSERT_TRUE(connected());
  peer.closeConnections();
  ASSERT_TRUE(connected(0));
  client->close();
  EXPECT_FALSE(client->isConnected());
  EXPECT_TRUE(waitUntil([&] { return support::threadCount() == threads; }));
  EXPECT_EQ(peer.accepted(), 1);
}

TEST_F(ReceiveThread, EndsWithTheClientInTheMiddleOfData) {
  std::atomic<bool> done{false};
  std::thread sender([&] {
    while (!done) peer.send(std::string(1000, 'x'));
  });
  for (int i = 0; i < 50; ++i) {
    client = std::make_unique<cbl::CTcpClientUnix>();
    client->setUnixPath(peer.path());
    ASSERT_EQ(collect(), 0);
    ASSERT_TRUE(waitUntil([&] {
      const std::lock_guard lock(mutex);
      return !collected.empty();
    }));
    client.reset();
    collected.clear();  // without the lock: no thread is left to fill it
  }
  done = true;
  peer.closeConnections();
  sender.join();
}

// A callback that stops its own thread waits 3000 ms for itself, in vain.
TEST_F(ReceiveThread, MayBeStoppedOrDestroyedFromItsOwnCallback) {
  const std::size_t threads = support::threadCount();
  for (const bool destroy : {false, true}) {
    std::promise<std::int32_t> finished;
    const auto callback = [&](const char*, std::int32_t) {
      finished.set_value(destroy ? (client.reset(), 1) : client->stopAutoRecv());
      return 0;
    };
    ASSERT_EQ(client->enableAutoRecv(true, callback), 0);
    ASSERT_TRUE(connected());
    peer.send("x");
    EXPECT_EQ(finished.get_future().get(), destroy ? 1 : -2);
    EXPECT_TRUE(waitUntil([&] { return support::threadCount() == threads; }));
  }
}

TEST_F(ReceiveThread, DestructionWaitsForASlowCallback) {
  std::promise<void> gate;
  std::shared_future<void> released = gate.get_future().share();
  std::atomic<int> entered{0};
  std::atomic<int> left{0};
  const auto slow = [&](const char*, std::int32_t) {
    ++entered;
    released.wait();
    ++left;
    return 0;
  };
  ASSERT_EQ(client->enableAutoRecv(true, slow), 0);
  ASSERT_TRUE(connected());
  peer.send("x");
  ASSERT_TRUE(waitUntil([&] { return entered == 1; }));
  peer.send("more that is never delivered");
  EXPECT_EQ(collect(), -3) << "the thread is not to be stopped";

  auto destruction = std::async(std::launch::async, [&] { client.reset(); });
  ASSERT_TRUE(connected(0));  // the wait for the stop is over, the connection cut
  EXPECT_EQ(destruction.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  gate.set_value();
  destruction.get();
  EXPECT_EQ(left, 1);
  EXPECT_EQ(entered, 1);
}

}  // namespace
