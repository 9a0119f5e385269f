#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <mutex>

#include "cbl/bus/tcp_client_unix.h"
#include "support/bus_peer.h"
#include "support/poll.h"
#include "support/process_state.h"
#include "support/temp_dir.h"

namespace {

using support::BusPeer;
using support::waitUntil;

class ReceiveThread : public testing::Test {
 protected:
  ReceiveThread() { client->setUnixPath(peer.path()); }

  /// Turns auto receive on with a callback that collects the bytes.
  std::int32_t collect() {
    return client->enableAutoRecv(true, [this](const char* bytes, std::int32_t length) {
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
  EXPECT_EQ(client->stopAutoRecv(), 0);
  EXPECT_EQ(client->enableAutoRecv(true, nullptr), -1);
  EXPECT_EQ(client->enableAutoRecv(false, nullptr), 0);
  EXPECT_EQ(peer.accepted(), 0);
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
  EXPECT_FALSE(client->isAutoRecv());
  peer.send("second");
  EXPECT_EQ(client->recv(buffer, sizeof(buffer), 5000), 6) << "the connection stays";
  EXPECT_EQ(peer.accepted(), 1);
}

TEST_F(ReceiveThread, NeedsAConnection) {
  client->setUnixPath(dir.file("missing"));
  EXPECT_EQ(collect(), -2);
  EXPECT_LT(client->startAutoRecv([](const char*, std::int32_t) { return 0; }), 0);
  EXPECT_FALSE(client->isAutoRecv());
}

TEST_F(ReceiveThread, LeavesNothingBehind) {
  ASSERT_EQ(collect(), 0);
  ASSERT_EQ(client->stopAutoRecv(), 0);
  ASSERT_TRUE(connected());
  const std::size_t descriptors = support::descriptorCount();
  const std::size_t threads = support::threadCount();
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
class FromItsOwnCallback : public ReceiveThread {
 protected:
  void run(const std::function<void()>& action) {
    threads = support::threadCount();
    std::promise<void> finished;
    ASSERT_EQ(client->enableAutoRecv(true,
                                     [&](const char*, std::int32_t) {
                                       ++calls;
                                       action();
                                       finished.set_value();
                                       return 0;
                                     }),
              0);
    ASSERT_TRUE(connected());
    peer.send("x");
    ASSERT_EQ(finished.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
  }
  bool threadEnded() {
    return waitUntil([&] { return support::threadCount() == threads; });
  }

  std::size_t threads = 0;
  std::atomic<int> calls{0};
};

TEST_F(FromItsOwnCallback, StopFails) {
  std::atomic<int> stopped{1};
  run([&] { stopped = client->stopAutoRecv(); });
  EXPECT_EQ(stopped, -2);
  EXPECT_TRUE(threadEnded()) << "its stop word is waiting for it";
  EXPECT_TRUE(client->isConnected());
  EXPECT_EQ(collect(), 0);
  peer.send("on again");
  EXPECT_TRUE(arrived("on again"));
}

TEST_F(FromItsOwnCallback, CloseCloses) {
  run([&] { client->close(); });
  EXPECT_FALSE(client->isConnected());
  EXPECT_TRUE(threadEnded());
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(collect(), 0);
}

TEST_F(FromItsOwnCallback, TheClientMayBeDestroyed) {
  run([&] { client.reset(); });
  EXPECT_TRUE(threadEnded());
  EXPECT_TRUE(connected(0));
}

TEST_F(ReceiveThread, DestructionWaitsForASlowCallback) {
  std::promise<void> gate;
  std::shared_future<void> released = gate.get_future().share();
  std::atomic<int> entered{0};
  std::atomic<int> left{0};
  ASSERT_EQ(client->enableAutoRecv(true,
                                   [&](const char*, std::int32_t) {
                                     ++entered;
                                     released.wait();
                                     ++left;
                                     return 0;
                                   }),
            0);
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
