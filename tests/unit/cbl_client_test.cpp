#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <new>
#include <thread>

#include "cbl/bus/velix_client.h"
#include "cbl/bus/velix_commu_client.h"
#include "support/bus_peer.h"
#include "support/poll.h"
#include "support/temp_dir.h"

namespace {

thread_local int allocationsLeft = -1;  // of this thread, until one fails; negative: as many as it likes

}  // namespace

// Not inlined: the compiler would take one for the standard's and the other for ours, and warn of the mixture.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (allocationsLeft >= 0 && allocationsLeft-- == 0) throw std::bad_alloc();
  void* memory = std::malloc(size > 0 ? size : 1);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

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

// Element 0 of a request may ask for something else.
PeerAnswer echo(const PeerRequest& request) {
  PeerAnswer answer(messageFrame(request.elements, request.frame.identifier));
  if (request.elements[0] == "silence") return {};
  if (request.elements[0] == "hang up") return PeerAnswer::hangUp();
  if (request.elements[0] == "foreign first") {
    answer.pieces.insert(answer.pieces.begin(), messageFrame(request.elements, 1, 2));
  }
  if (request.elements[0] == "damage magic") answer.pieces[0][0] = '?';
  if (request.elements[0] == "damage body") answer.pieces[0].back() = static_cast<char>(~answer.pieces[0].back());
  answer.close = request.elements[0].find("damage") == 0;  // so that nobody waits for more
  return answer;
}

std::int32_t send(cbl::CVelixCommuClient& client, const Strings& elements, std::int32_t number) {
  CVelixMessage request;
  request.assign(elements.begin(), elements.end());
  return client.send(request, number);
}

class Client : public testing::Test {
 protected:
  static bool call(velix::CVelixClient& client, const Strings& elements) {
    CVelixMessage request;
    request.assign(elements.begin(), elements.end());
    CVelixMessage reply;
    reply.push_back("kept");
    const bool answered = client.call(request, reply);
    EXPECT_EQ(static_cast<Strings&>(reply), answered ? elements : Strings{"kept"});
    return answered;
  }
  std::int32_t exchange(cbl::CVelixCommuClient& client, std::int32_t number = 1) {
    EXPECT_EQ(send(client, {"request"}, number), 0);
    return client.recv(message, identifier, timestamp);
  }

  const support::TempDir dir;
  const std::string path = dir.file("bus.sock");
  CVelixMessage message;
  std::int32_t identifier = -1;
  std::int64_t timestamp = -1;
};

TEST_F(Client, ConcurrentCallsAreNumberedAndNeverMix) {
  const BusPeer peer(path, echo);
  velix::CVelixClient client;
  client.setSocketPath(path);
  client.setSocketPath("");
  std::vector<std::thread> threads;
  for (char name = 'a'; name < 'e'; ++name) {
    threads.emplace_back([&client, name] {
      for (std::size_t i = 0; i < 50; ++i) EXPECT_TRUE(call(client, {std::to_string(i), std::string(i * 60, name)}));
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::vector<PeerRequest> requests = peer.requests();
  ASSERT_EQ(requests.size(), 200U);
  for (std::size_t i = 0; i < requests.size(); ++i) EXPECT_EQ(requests[i].frame.identifier, i + 1);
  EXPECT_EQ(requests[0].frame.type, 0);
  EXPECT_EQ(peer.faults(), 0);
  EXPECT_EQ(peer.accepted(), 1);
}

TEST_F(Client, ReconnectsAfterAFailedCall) {
  velix::CVelixClient client;
  client.setSocketPath(path);
  EXPECT_EQ(client.connect(100), -1);
  EXPECT_FALSE(call(client, {"nobody there"}));
  const BusPeer peer(path, echo);
  EXPECT_TRUE(call(client, {"a"}));
  EXPECT_FALSE(call(client, {"hang up"}));
  EXPECT_TRUE(call(client, {"b"}));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(call(client, {"silence"}));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2990));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(5000));
  EXPECT_TRUE(call(client, {"c"}));
  client.close();
  EXPECT_TRUE(call(client, {"d"}));
  EXPECT_EQ(peer.accepted(), 4);
  EXPECT_EQ(peer.requests().back().frame.identifier, 6U) << "a call that did not connect takes no number";

  const BusPeer other(dir.file("other.sock"), echo);
  client.setSocketPath(other.path());
  EXPECT_TRUE(call(client, {"e"}));
  EXPECT_EQ(other.requests().size(), 1U);
  EXPECT_TRUE(waitUntil([&] { return peer.openConnections() == 0; }));
}

TEST_F(Client, AReplyLostForWantOfMemoryIsNotTheNextOnesAnswer) {
  const BusPeer peer(path, echo);
  const std::string text(300, 'x');
  int failed = 0;
  for (bool answered = false; !answered && failed < 100;) {
    velix::CVelixClient client;
    client.setSocketPath(path);
    ASSERT_TRUE(call(client, {"first", text}));
    CVelixMessage request;
    CVelixMessage reply;
    request.assign({"foreign first", text});
    allocationsLeft = failed;
    try {
      answered = client.call(request, reply);
    } catch (const std::bad_alloc&) {
      ++failed;
    }
    allocationsLeft = -1;
    ASSERT_TRUE(call(client, {"next", text})) << failed;
  }
  EXPECT_GE(failed, 4) << "the request, a body, the elements and the text";
  EXPECT_LT(failed, 100);
}

TEST_F(Client, ADamagedFrameStaysInTheWayUnlessItsMagicIsLost) {
  const BusPeer peer(path, echo);
  for (const std::string& where : {std::string("magic"), std::string("body")}) {
    velix::CVelixClient client;
    client.setSocketPath(path);
    EXPECT_FALSE(call(client, {"damage " + where}));
    for (int attempt = 0; attempt < 3; ++attempt) EXPECT_EQ(call(client, {"hello"}), where == "magic");
  }
}

TEST_F(Client, ReadsAtMostThreeTimes) {
  const std::string skipped = messageFrame({"other"}, 1, 2);
  const std::string whole = messageFrame({"reply", std::string(200, 'x')}, 9, 1);
  const auto sized = [](std::size_t frameSize) {
    return messageFrame({std::string(frameSize - 28 - 14, 'x')}, 9);  // the length's five digits included
  };
  const std::tuple<Strings, std::int32_t, std::string> cases[] = {
      {{whole}, 0, ""},
      {{whole.substr(0, 24), whole.substr(24, 3), whole.substr(27)}, 0, ""},
      {{whole.substr(0, 9), whole.substr(9, 9), whole.substr(18, 9), whole.substr(27)}, -4, ""},
      {{"garbage" + whole}, 0, ""},
      {{skipped, skipped, whole}, 0, kSkipped + kSkipped},
      {{skipped, skipped, skipped, whole}, -4, kSkipped + kSkipped + kSkipped},
      {{messageFrame({std::string(100000, 'x')}, 9, 0, true)}, 0, ""},
      {{sized(3 * 4096)}, 0, ""},
      {{sized(3 * 4096 + 1)}, -4, ""}};
  for (const auto& [pieces, result, printed] : cases) {
    const BusPeer peer(path, [&pieces = pieces](const PeerRequest&) { return PeerAnswer(pieces); });
    cbl::CVelixCommuClient client;
    client.setPath(path);
    CaptureStdout();
    EXPECT_EQ(exchange(client), result) << pieces[0].size();
    EXPECT_EQ(GetCapturedStdout(), printed);
    if (result != 0) continue;
    EXPECT_EQ(identifier, 9);
    EXPECT_EQ(timestamp, 1700000000000000);
  }
}

TEST_F(Client, FailuresHaveTheirCodes) {
  cbl::CVelixCommuClient client;
  EXPECT_EQ(client.setPath(""), -1);
  client.setPath(path);
  EXPECT_EQ(send(client, {"x"}, 1), -1);
  EXPECT_EQ(client.recv(message, identifier, timestamp), -1);

  BusPeer peer(path, [](const PeerRequest& asked) {
    if (asked.frame.identifier == 1) return PeerAnswer(support::encodeFrame("no body", support::FrameFields()));
    return asked.frame.identifier == 2 ? PeerAnswer::hangUp() : PeerAnswer(messageFrame({"reply"}, 0xFFFFFFFE, 1));
  });
  message.push_back("kept");
  CaptureStdout();
  EXPECT_EQ(exchange(client, 1), -3);
  EXPECT_EQ(GetCapturedStdout(), "velix client load velix message error\n");
  EXPECT_EQ(exchange(client, 2), -6);
  EXPECT_EQ(message.at(0), "kept");
  EXPECT_EQ(exchange(client, 3), 0);
  EXPECT_EQ(message.at(0), "reply");
  EXPECT_EQ(message.getType(), 1);
  EXPECT_EQ(identifier, -2);
  peer.closeConnections();
  ASSERT_TRUE(waitUntil([&] { return peer.openConnections() == 0; }));
  EXPECT_EQ(send(client, {"x"}, 4), -104);
}

TEST_F(Client, AutoReceiveDeliversMessages) {
  BusPeer peer(path, echo);
  std::mutex mutex;
  Strings delivered;
  const auto deliver = [&](const CVelixMessage& received, std::int32_t number, std::int64_t) {
    const std::lock_guard lock(mutex);
    delivered.push_back(received.at(0) + std::to_string(received.at(1).size()) + "#" + std::to_string(number));
    return -1;
  };
  const auto hasCome = [&](const Strings& expected) {
    return waitUntil([&] { return (std::lock_guard(mutex), delivered == expected); });
  };
  cbl::CVelixCommuClient client;
  client.setPath(path);
  EXPECT_EQ(client.enableAutoRecv(true, nullptr), -1);
  ASSERT_EQ(client.enableAutoRecv(true, deliver), 0);
  EXPECT_EQ(client.recv(message, identifier, timestamp), -2);
  EXPECT_EQ(send(client, {"echo", "x"}, 5), 0);
  EXPECT_TRUE(hasCome({"echo1#5"}));

  CaptureStdout();
  const std::string noBody = support::encodeFrame("no body", support::FrameFields());
  for (const std::string& frame : {messageFrame({"skipped", ""}, 6, 2), noBody}) {
    peer.send(frame);
    ASSERT_TRUE(waitUntil([&] { return peer.allRead(); }));
  }
  peer.send(messageFrame({"large", std::string(100000, 'x')}, 7));
  EXPECT_TRUE(hasCome({"echo1#5", "large100000#7"}));
  EXPECT_EQ(client.enableAutoRecv(false, nullptr), 0);
  EXPECT_EQ(GetCapturedStdout(), "not VelixMessage message\nvelix client load velix message error\n");
  EXPECT_EQ(exchange(client, 8), 0);
}

}  // namespace
