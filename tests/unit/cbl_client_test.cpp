#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <thread>

#include "cbl/bus/velix_client.h"
#include "cbl/bus/velix_commu_client.h"
#include "support/bus_peer.h"
#include "support/poll.h"
#include "support/temp_dir.h"

namespace {

using cbl::CVelixMessage;
using support::BusPeer;
using support::messageFrame;
using support::PeerAnswer;
using support::PeerRequest;
using support::waitUntil;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using Strings = std::vector<std::string>;

const std::string kSkipped = "not VelixMessage_std message\nnot VelixMessage message\n";

PeerAnswer echo(const PeerRequest& request) {
  return messageFrame(request.elements, request.frame.identifier);
}

Strings elementsOf(const CVelixMessage& message) {
  return message;
}

class Client : public testing::Test {
 protected:
  bool call(velix::CVelixClient& client, const Strings& elements) {
    CVelixMessage request;
    for (const std::string& element : elements) request.push_back(element);
    CVelixMessage answer;
    const bool answered = client.call(request, answer);
    reply = answer;
    return answered;
  }
  std::int32_t exchange(cbl::CVelixCommuClient& client, std::uint32_t number = 1) {
    CVelixMessage request;
    request.push_back("request");
    EXPECT_EQ(client.send(request, static_cast<std::int32_t>(number)), 0);
    return client.recv(message, identifier, timestamp);
  }

  const support::TempDir dir;
  const std::string path = dir.file("bus.sock");
  Strings reply;
  CVelixMessage message;
  std::int32_t identifier = -1;
  std::int64_t timestamp = -1;
};

TEST_F(Client, NumbersItsCalls) {
  const BusPeer peer(path, echo);
  velix::CVelixClient client;
  client.setSocketPath(path);
  client.setSocketPath("");
  for (const Strings& elements : {Strings{"func@a", "1"}, Strings{"func@b", std::string(5000, 'x')}, Strings{"c"}}) {
    EXPECT_TRUE(call(client, elements));
    EXPECT_EQ(reply, elements);
  }
  const std::vector<PeerRequest> requests = peer.requests();
  ASSERT_EQ(requests.size(), 3U);
  for (std::size_t i = 0; i < requests.size(); ++i) {
    EXPECT_EQ(requests[i].frame.identifier, i + 1);
    EXPECT_EQ(requests[i].frame.type, 0);
    EXPECT_EQ(requests[i].connection, 1);
  }
}

TEST_F(Client, ReconnectsAfterAFailedCall) {
  velix::CVelixClient client;
  client.setSocketPath(path);
  EXPECT_EQ(client.connect(100), -1);
  EXPECT_FALSE(call(client, {"nobody there"}));
  const BusPeer peer(path, [](const PeerRequest& request) {
    return request.elements[0] == "hang up" ? PeerAnswer::hangUp() : echo(request);
  });
  EXPECT_TRUE(call(client, {"a"}));
  EXPECT_FALSE(call(client, {"hang up"}));
  EXPECT_TRUE(call(client, {"b"}));
  client.close();
  EXPECT_TRUE(call(client, {"c"}));
  EXPECT_EQ(peer.accepted(), 3);
  EXPECT_EQ(peer.requests().back().frame.identifier, 4U) << "a call that did not connect takes no number";

  const BusPeer other(dir.file("other.sock"), echo);
  client.setSocketPath(other.path());
  EXPECT_TRUE(call(client, {"d"}));
  EXPECT_EQ(other.requests().size(), 1U);
  EXPECT_TRUE(waitUntil([&] { return peer.openConnections() == 0; }));
}

TEST_F(Client, ASilentPeerFailsTheCall) {
  const BusPeer peer(
      path, [](const PeerRequest& request) { return request.frame.identifier == 1 ? PeerAnswer() : echo(request); });
  velix::CVelixClient client;
  client.setSocketPath(path);
  EXPECT_FALSE(call(client, {"a"}));
  EXPECT_TRUE(call(client, {"b"}));
  EXPECT_EQ(peer.requests().back().connection, 2);
}

TEST_F(Client, ADamagedFrameStaysInTheWay) {
  std::atomic<bool> damaging{true};
  const BusPeer peer(path, [&](const PeerRequest& request) {
    PeerAnswer answer = echo(request);
    if (damaging) answer.pieces[0].back() = static_cast<char>(~answer.pieces[0].back());
    answer.close = true;
    return answer;
  });
  velix::CVelixClient client;
  client.setSocketPath(path);
  EXPECT_FALSE(call(client, {"a"}));
  damaging = false;
  EXPECT_FALSE(call(client, {"b"}));
  EXPECT_FALSE(call(client, {"c"}));
  velix::CVelixClient fresh;
  fresh.setSocketPath(path);
  EXPECT_TRUE(call(fresh, {"d"}));
}

TEST_F(Client, ConcurrentCallsNeverMix) {
  const BusPeer peer(path, echo);
  velix::CVelixClient client;
  client.setSocketPath(path);
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&, thread] {
      for (int i = 0; i < 50; ++i) {
        CVelixMessage request;
        request.push_back(std::to_string(thread) + ":" + std::to_string(i));
        request.push_back(std::string(static_cast<std::size_t>(i * 60), static_cast<char>('a' + thread)));
        CVelixMessage answer;
        if (!client.call(request, answer) || elementsOf(answer) != elementsOf(request)) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(peer.faults(), 0);
  EXPECT_EQ(peer.accepted(), 1);
  const std::vector<PeerRequest> requests = peer.requests();
  ASSERT_EQ(requests.size(), 200U);
  for (std::size_t i = 0; i < requests.size(); ++i) EXPECT_EQ(requests[i].frame.identifier, i + 1);
}

TEST_F(Client, ReadsAtMostThreeTimes) {
  const std::string skipped = messageFrame({"other"}, 1, 2);
  const std::string whole = messageFrame({"reply", std::string(200, 'x')}, 9, 1);
  const auto sized = [](std::size_t frameSize) {
    return messageFrame({std::string(frameSize - 28 - 14, 'x')}, 9);  // the length's five digits included
  };
  const struct {
    std::vector<std::string> pieces;
    std::int32_t result;
    std::string printed;
  } cases[] = {
      {{whole}, 0, ""},
      {{whole.substr(0, 1), whole.substr(1)}, 0, ""},
      {{whole.substr(0, 24), whole.substr(24, 3), whole.substr(27)}, 0, ""},
      {{whole.substr(0, 9), whole.substr(9, 9), whole.substr(18, 9), whole.substr(27)}, -4, ""},
      {{"garbage" + whole}, 0, ""},
      {{skipped, whole}, 0, kSkipped},
      {{skipped, skipped, whole}, 0, kSkipped + kSkipped},
      {{skipped, skipped, skipped, whole}, -4, kSkipped + kSkipped + kSkipped},
      {{messageFrame({std::string(100000, 'x')}, 9, 0, true)}, 0, ""},
      {{sized(3 * 4096)}, 0, ""},
      {{sized(3 * 4096 + 1)}, -4, ""},
  };
  for (const auto& test : cases) {
    const BusPeer peer(path, [&](const PeerRequest&) { return PeerAnswer(test.pieces); });
    cbl::CVelixCommuClient client;
    client.setPath(path);
    CaptureStdout();
    EXPECT_EQ(exchange(client), test.result) << test.pieces[0].size();
    EXPECT_EQ(GetCapturedStdout(), test.printed);
    if (test.result == 0) {
      EXPECT_EQ(identifier, 9);
      EXPECT_EQ(timestamp, 1700000000000000);
    }
  }
}

TEST_F(Client, FailuresHaveTheirCodes) {
  cbl::CVelixCommuClient client;
  CVelixMessage request;
  request.push_back("x");
  EXPECT_EQ(client.setPath(""), -1);
  client.setPath(path);
  EXPECT_EQ(client.send(request, 1), -1);
  EXPECT_EQ(client.recv(message, identifier, timestamp), -1);

  BusPeer peer(path, [](const PeerRequest& asked) {
    if (asked.frame.identifier == 1) return PeerAnswer(support::encodeFrame("no body", support::FrameFields()));
    if (asked.frame.identifier == 2) return PeerAnswer::hangUp();
    return PeerAnswer(messageFrame({"reply"}, 0xFFFFFFFE, 1));
  });
  message.push_back("kept");
  CaptureStdout();
  EXPECT_EQ(exchange(client, 1), -3);
  EXPECT_EQ(GetCapturedStdout(), "velix client load velix message error\n");
  EXPECT_EQ(exchange(client, 2), -6);
  EXPECT_EQ(elementsOf(message), Strings{"kept"});
  EXPECT_EQ(exchange(client, 3), 0);
  EXPECT_EQ(elementsOf(message), Strings{"reply"});
  EXPECT_EQ(message.getType(), 1);
  EXPECT_EQ(identifier, -2);

  peer.closeConnections();
  ASSERT_TRUE(waitUntil([&] { return peer.openConnections() == 0; }));
  EXPECT_EQ(client.send(request, 4), -104);
}

TEST_F(Client, AutoReceiveDeliversMessages) {
  BusPeer peer(path, echo);
  std::mutex mutex;
  Strings delivered;
  cbl::CVelixCommuClient client;
  client.setPath(path);
  EXPECT_EQ(client.enableAutoRecv(true, nullptr), -1);
  ASSERT_EQ(client.enableAutoRecv(true,
                                  [&](const CVelixMessage& received, std::int32_t number, std::int64_t) {
                                    const std::lock_guard lock(mutex);
                                    delivered.push_back(received.at(0) + std::to_string(received.at(1).size()) + "#" +
                                                        std::to_string(number));
                                    return -1;
                                  }),
            0);
  const auto hasCome = [&](const Strings& expected) {
    return waitUntil([&] {
      const std::lock_guard lock(mutex);
      return delivered == expected;
    });
  };
  EXPECT_EQ(client.recv(message, identifier, timestamp), -2);
  CVelixMessage request;
  request.push_back("echo");
  request.push_back("x");
  EXPECT_EQ(client.send(request, 5), 0);
  EXPECT_TRUE(hasCome({"echo1#5"}));

  CaptureStdout();
  peer.send(messageFrame({"skipped", ""}, 6, 2));
  ASSERT_TRUE(waitUntil([&] { return peer.allRead(); }));
  peer.send(support::encodeFrame("no body", support::FrameFields()));
  ASSERT_TRUE(waitUntil([&] { return peer.allRead(); }));
  peer.send(messageFrame({"large", std::string(100000, 'x')}, 7));
  EXPECT_TRUE(hasCome({"echo1#5", "large100000#7"}));
  EXPECT_EQ(client.enableAutoRecv(false, nullptr), 0);
  EXPECT_EQ(GetCapturedStdout(), "not VelixMessage message\nvelix client load velix message error\n");
  EXPECT_EQ(exchange(client, 8), 0);
}

}  // namespace
