#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <set>
#include <thread>

#include "cbl/net/address_text.h"
#include "cbl/net/descriptor.h"
#include "cbl/net/semaphore_ex.h"
#include "cbl/net/tcp_socket.h"
#include "cbl/net/unix_socket.h"
#include "support/bus_peer.h"
#include "support/loopback_port.h"
#include "support/process_state.h"
#include "support/temp_dir.h"

namespace {

using cbl::CDescriptor;
using cbl::CSemaphoreEx;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using support::LoopbackPort;

int optionOf(int descriptor, int level, int name) {
  int value = -1;
  socklen_t size = sizeof(value);
  EXPECT_EQ(getsockopt(descriptor, level, name, &value, &size), 0);
  return value;
}

bool isNonBlocking(int descriptor) {
  return (fcntl(descriptor, F_GETFL) & O_NONBLOCK) != 0;
}

TEST(UnixSocket, ConnectsAndReportsWhy) {
  const support::TempDir dir;
  const std::string path = dir.file("bus.sock");
  const std::size_t before = support::descriptorCount();
  std::int32_t number = 77;
  EXPECT_EQ(cbl::connectUnix(path, number, 100), -1);
  EXPECT_EQ(cbl::connectUnix(dir.write("file", "x"), number, 100), -20) << "nobody listens";
  std::string longName = dir.file(std::string(sizeof(sockaddr_un::sun_path), 'x'));
  dir.write(std::string(sizeof(sockaddr_un::sun_path), 'x'), "x");
  EXPECT_EQ(cbl::connectUnix(longName, number, 100), -17);
  EXPECT_EQ(number, 77);
  EXPECT_EQ(cbl::connectUnixStep(-1, path, 100), -1);
  EXPECT_EQ(cbl::connectUnixStep(1000000, dir.file("file"), 100), -2);
  EXPECT_EQ(support::descriptorCount(), before);

  const support::BusPeer peer(path);
  for (const std::int32_t timeout : {100, 0, -1}) {
    ASSERT_EQ(cbl::connectUnix(path, number, timeout), 0);
    const CDescriptor connection(number);
    EXPECT_TRUE(isNonBlocking(number));
    EXPECT_NE(fcntl(number, F_GETFD) & FD_CLOEXEC, 0);
  }
}

// What such a process prints would otherwise go into the connection.
[[noreturn]] void exitAfterOpeningWithoutStreams(const std::string& path) {
  for (int stream = 0; stream <= 2; ++stream) close(stream);
  std::int32_t bus = -1;
  std::int32_t tcp = -1;
  CDescriptor readEnd;
  CDescriptor writeEnd;
  const bool opened = cbl::connectUnix(path, bus, 1000) == 0 && cbl::createTcpSocket(tcp, true, "", "", -1) == 0 &&
                      cbl::openPipe(readEnd, writeEnd) == 0;
  bool free = true;
  for (int stream = 0; stream <= 2; ++stream) free = free && fcntl(stream, F_GETFD) < 0;
  std::set<int> numbers = {bus, tcp, readEnd.number(), writeEnd.number()};
  bool closing = true;
  for (const int number : numbers) closing = closing && fcntl(number, F_GETFD) == FD_CLOEXEC;
  _exit(opened && free && closing && numbers.size() == 4 && *numbers.begin() > 2 ? 0 : 1);
}

TEST(Descriptor, TheNumbersOfMissingStreamsStayFree) {
  const support::TempDir dir;
  const support::BusPeer peer(dir.file("bus.sock"));
  EXPECT_EXIT(exitAfterOpeningWithoutStreams(peer.path()), testing::ExitedWithCode(0), "");
}

TEST(TcpSocket, ReportsWhyNot) {
  const LoopbackPort listening(true);
  const LoopbackPort refusing(false);
  const std::size_t before = support::descriptorCount();
  std::int32_t number = 77;
  EXPECT_EQ(cbl::connectTcp("256.1.1.1", listening.port, number, 100, std::nullopt), -1);
  EXPECT_EQ(cbl::connectTcp("localhost", listening.port, number, 100, std::nullopt), -1);
  EXPECT_EQ(cbl::connectTcp("127.0.0.1", 0, number, 100, std::nullopt), -1);
  EXPECT_EQ(cbl::connectTcp("127.0.0.1", 65536, number, 100, std::nullopt), -1);
  EXPECT_EQ(cbl::connectTcp("127.0.0.1", refusing.port, number, 1000, std::nullopt), -6);
  EXPECT_EQ(cbl::connectTcp("127.0.0.1", listening.port, number, 1000, cbl::KeepAlive{1, 0, 100, 9}), -7);
  EXPECT_EQ(cbl::createTcpSocket(number, true, "no_such_if", "", -1), -2);
  EXPECT_EQ(cbl::createTcpSocket(number, true, "", "127.0.0.1", listening.port), -3) << "in use";
  EXPECT_EQ(number, 77);
  EXPECT_EQ(support::descriptorCount(), before);
  ASSERT_EQ(cbl::connectTcp("127.0.0.1", listening.port, number, 1000, std::nullopt), 0);
  const CDescriptor connection(number);
  EXPECT_TRUE(isNonBlocking(number));
  EXPECT_EQ(optionOf(number, IPPROTO_TCP, TCP_KEEPIDLE), 1);
  EXPECT_EQ(optionOf(number, IPPROTO_TCP, TCP_KEEPCNT), 9);
  EXPECT_EQ(cbl::connectTcp(-1, "127.0.0.1", listening.port, 100, std::nullopt), -1);
  EXPECT_EQ(cbl::connectTcp(1000000, "127.0.0.1", listening.port, 100, std::nullopt), -2);
}

TEST(TcpSocket, KeepAliveTimesAreWholeSeconds) {
  const CDescriptor opened(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const int number = opened.number();
  const std::pair<std::int32_t, int> times[] = {{1, 1}, {1499, 1}, {1500, 2}, {32767000, 32767}};
  for (const auto& [ms, seconds] : times) {
    EXPECT_EQ(cbl::setKeepAlive(number, {7, ms, ms, 3}), 0) << ms;
    EXPECT_EQ(optionOf(number, IPPROTO_TCP, TCP_KEEPIDLE), seconds) << ms;
    EXPECT_EQ(optionOf(number, IPPROTO_TCP, TCP_KEEPINTVL), seconds) << ms;
  }
  const std::pair<cbl::KeepAlive, std::int32_t> refused[] = {
      {{1, 0, 1, 1}, -1},          {{1, 2147483647, 1, 1}, -3}, {{1, 1, 2147483647, 1}, -4},
      {{1, 1, 1, 2147483647}, -5}, {{0, 0, -1, 0}, 0},
  };
  for (const auto& [settings, code] : refused) EXPECT_EQ(cbl::setKeepAlive(number, settings), code) << code;
  EXPECT_EQ(optionOf(number, SOL_SOCKET, SO_KEEPALIVE), 0);
  EXPECT_EQ(cbl::setKeepAlive(-1, {}), -2);
}

TEST(AddressText, Ipv4) {
  for (const char* good : {"0.0.0.0", "255.255.255.255", "192.168.001.010"}) EXPECT_TRUE(cbl::isIpv4Text(good)) << good;
  for (const char* bad : {"", "1.2.3", "1.2.3.4.5", "256.1.1.1", "1.1.1.999", "1234.1.1.1", " 1.2.3.4", "1.2.3.4\n",
                          "1..2.3", "a.b.c.d", "-1.2.3.4", "1.2.3.4 "}) {
    EXPECT_FALSE(cbl::isIpv4Text(bad)) << bad;
  }
  EXPECT_EQ(cbl::formatIpv4({192, 168, 0, 255}), "192.168.0.255");
}

TEST(AddressText, Mac) {
  std::array<std::uint8_t, 6> mac{};
  EXPECT_EQ(cbl::parseMac("00:1a-2B:ff-09:A0", mac.data()), 0);
  EXPECT_EQ(mac, (std::array<std::uint8_t, 6>{0x00, 0x1A, 0x2B, 0xFF, 0x09, 0xA0}));
  EXPECT_EQ(cbl::formatMac(mac, false), "00:1a:2b:ff:09:a0");
  EXPECT_EQ(cbl::formatMac(mac, true), "00:1A:2B:FF:09:A0");
  const auto kept = mac;
  EXPECT_EQ(cbl::parseMac("", mac.data()), -1);
  EXPECT_EQ(cbl::parseMac("00:11:22:33:44:55", nullptr), -1);
  for (const char* bad : {"00:11:22:33:44", "00:11:22:33:44:5", "00:11:22:33:44:55:66", "0011.2233.4455",
                          "00:11:22:33:44:5g", "00:11:22:33:44:55 "}) {
    EXPECT_EQ(cbl::parseMac(bad, mac.data()), -2) << bad;
  }
  EXPECT_EQ(mac, kept);
}

TEST(Semaphore, PostsBeyondTheCeilingAreDropped) {
  for (const std::int32_t ceiling : {-5, 1, 3}) {
    CSemaphoreEx semaphore(ceiling);
    const int kept = std::max(ceiling, 1);
    for (int i = 0; i < kept + 2; ++i) EXPECT_EQ(semaphore.post(), 0);
    EXPECT_EQ(semaphore.wait(), 0);
    for (int i = 1; i < kept; ++i) EXPECT_EQ(semaphore.tryWait(), 0);
    EXPECT_EQ(semaphore.tryWait(), -2);
    semaphore.post();
    EXPECT_EQ(semaphore.reinit(), 0);
    EXPECT_EQ(semaphore.waitFor(0), -3) << "starts anew with nothing to take";
    EXPECT_EQ(semaphore.destroy(), 0);
    EXPECT_TRUE(semaphore.isInvalid());
    for (const std::int32_t result : {semaphore.post(), semaphore.wait(), semaphore.tryWait(), semaphore.waitFor(10)}) {
      EXPECT_EQ(result, -1);
    }
  }
}

TEST(Semaphore, WaitForKeepsTheTime) {
  CSemaphoreEx semaphore;
  for (const int ms : {1, 1100}) {
    const auto start = Clock::now();
    EXPECT_EQ(semaphore.waitFor(ms), -3);
    EXPECT_GE(Clock::now() - start, milliseconds(ms));
    EXPECT_LT(Clock::now() - start, milliseconds(ms + 5000));
  }
  std::thread poster([&] { semaphore.post(); });
  const auto start = Clock::now();
  EXPECT_EQ(semaphore.waitFor(30000), 0);
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(10));
  poster.join();
}

}  // namespace
