#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <chrono>

#include "cbl/bus/tcp_client_unix.h"
#include "support/bus_peer.h"
#include "support/poll.h"
#include "support/temp_dir.h"

namespace {

using support::BusPeer;
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
  BusPeer peer(path, [&](const PeerRequest&) { return support::PeerAnswer(reply); });
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

TEST_F(Stream, APeerThatNeverReadsCostsTheTimeOut) {
  const BusPeer peer(path, nullptr, BusPeer::Mode::kNeverRead);
  client.setUnixPath(path);
  client.setIoTimeout(30);
  int sent = 0;
  while (sent < 100000 && send("x", 0) == 1) ++sent;
  EXPECT_GT(sent, 10);
  EXPECT_LT(sent, 100000);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(send(std::string(100, 'x'), 200), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
  EXPECT_TRUE(client.isConnected());
}

TEST_F(Stream, OnlyANewAddressClosesTheConnection) {
  const BusPeer peer(path);
  const BusPeer other(dir.file("other.sock"));
  client.setUnixPath(path);
  ASSERT_EQ(client.connect(1000, ""), 0);
  EXPECT_EQ(client.setUnixPath(path), 0);
  EXPECT_EQ(client.setUnixPath(""), -1);
  EXPECT_TRUE(client.isConnected());
  EXPECT_EQ(client.setUnixPath(other.path()), 0);
  EXPECT_FALSE(client.isConnected());
  ASSERT_EQ(client.connect(1000, ""), 0);
  EXPECT_TRUE(waitUntil([&] { return other.accepted() == 1 && peer.openConnections() == 0; }));
  EXPECT_EQ(client.setTcpAddress("127.0.0.1", 1), 0);
  EXPECT_FALSE(client.isConnected());
}

TEST_F(Stream, SpeaksTcp) {
  cbl::CDescriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  ASSERT_EQ(bind(listener.number(), reinterpret_cast<sockaddr*>(&address), size), 0);
  getsockname(listener.number(), reinterpret_cast<sockaddr*>(&address), &size);
  const int port = ntohs(address.sin_port);
  EXPECT_EQ(client.setTcpAddress("127.0.0.1", port), 0);
  EXPECT_EQ(client.connect(1000, ""), -2) << "nobody listens";
  EXPECT_EQ(client.connect(1000, "no_such_if"), -1);

  ASSERT_EQ(listen(listener.number(), 1), 0);
  ASSERT_EQ(client.connect(1000, ""), 0);
  EXPECT_EQ(client.setTcpAddress("127.0.0.1", port), 0);
  EXPECT_TRUE(client.isConnected()) << "the same address keeps the connection";
  const cbl::CDescriptor accepted(accept4(listener.number(), nullptr, nullptr, SOCK_CLOEXEC));
  EXPECT_EQ(send("ping"), 4);
  EXPECT_EQ(::recv(accepted.number(), buffer, sizeof(buffer), 0), 4);
  EXPECT_EQ(::send(accepted.number(), "pong!", 5, MSG_NOSIGNAL), 5);
  EXPECT_EQ(recv(), 5);
}

}  // namespace
