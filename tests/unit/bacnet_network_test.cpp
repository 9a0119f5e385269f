#include "bacnet/network/network.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bacnet/codec/bvlc.h"
#include "io/fake/fake_network.h"

namespace {

using namespace bacnet;
using namespace std::string_literals;
using ::testing::ElementsAre;

constexpr io::Address kOwn{0x0A000001, 47808};
constexpr io::Address kPeer{0x0A000002, 47808};
constexpr io::Address kBbmd{0x0A000009, 47808};
constexpr io::Address kBroadcast{0x0A0000FF, 47808};
const NetworkAddress kFar{7, "\x05"};
const std::string kWhoIs = "\x10\x08";

std::string wrap(BvlcFunction function, const Npdu& npdu, io::Address origin = {}) {
  const std::string bytes = encodeNpdu(npdu);
  Bvlc bvlc;
  bvlc.function = function;
  bvlc.origin = origin;
  bvlc.npdu = bytes;
  return encodeBvlc(bvlc);
}

Npdu carrying(const std::string& apdu, std::optional<NetworkAddress> destination = {},
              std::optional<NetworkAddress> source = {}) {
  Npdu npdu;
  npdu.destination = std::move(destination);
  npdu.source = std::move(source);
  npdu.apdu = apdu;
  return npdu;
}

std::string text(const Station& station) {
  std::string result = io::addressText(station.address);
  if (station.remote) result += "/" + std::to_string(station.remote->network);
  return result;
}

class Network : public ::testing::Test {
 protected:
  Network() {
    net.addBroadcastAddress(kBroadcast.ip);
    network.onApdu([this](const Incoming& from, const Apdu&) {
      heard.push_back((from.isBroadcast ? "broadcast from " : "from ") + text(from.station));
    });
    network.onMessage([this](const Incoming& from, const NetworkMessage& message) {
      heard.push_back("message " + std::to_string(message.type) + " from " + text(from.station));
    });
    network.onResult([this](const io::Address& from, std::uint16_t result) {
      heard.push_back("result " + std::to_string(result) + " from " + io::addressText(from));
    });
  }

  /// What the network hands on of a datagram.
  std::vector<std::string> receive(const std::string& bytes) {
    heard.clear();
    peer->send(kOwn, bytes);
    clock.advance(std::chrono::seconds(1));
    return heard;
  }

  io::CFakeClock clock;
  io::CFakeNetwork net{clock};
  std::unique_ptr<io::CDatagrams> socket = net.open(kOwn);
  std::unique_ptr<io::CDatagrams> peer = net.open(kPeer);
  CNetwork network{*socket, clock};
  std::vector<std::string> heard;
};

TEST_F(Network, HandsOnWhatAStationIsMeantToHear) {
  using F = BvlcFunction;
  const io::Address origin{0x0A000014, 47809};
  const NetworkAddress everywhere{kGlobalNetwork, {}};
  Npdu message;
  message.message = NetworkMessage{1, 0, "\x00\x07"};
  const struct {
    std::string bytes;
    std::string heard;  // empty: dropped
  } cases[] = {
      {wrap(F::kOriginalUnicast, carrying(kWhoIs)), "from 10.0.0.2:47808"},
      {wrap(F::kOriginalUnicast, carrying(kWhoIs, {}, kFar)), "from 10.0.0.2:47808/7"},
      {wrap(F::kOriginalBroadcast, carrying(kWhoIs)), "broadcast from 10.0.0.2:47808"},
      {wrap(F::kOriginalUnicast, carrying(kWhoIs, everywhere)), "broadcast from 10.0.0.2:47808"},
      {wrap(F::kForwardedNpdu, carrying(kWhoIs), origin), "broadcast from 10.0.0.20:47809"},
      {wrap(F::kForwardedNpdu, carrying(kWhoIs, {}, kFar), origin), "broadcast from 10.0.0.20:47809/7"},
      {wrap(F::kOriginalUnicast, message), "message 1 from 10.0.0.2:47808"},
      {"\x81\x00\x00\x06\x00\x30"s, "result 48 from 10.0.0.2:47808"},
      // For another network, of no answerable source, for a BBMD, or nothing at all.
      {wrap(F::kOriginalUnicast, carrying(kWhoIs, kFar)), ""},
      {wrap(F::kOriginalUnicast, carrying(kWhoIs, {}, NetworkAddress{kGlobalNetwork, "\x05"})), ""},
      {wrap(F::kOriginalUnicast, carrying(kWhoIs, {}, NetworkAddress{7, {}})), ""},
      {wrap(F::kDistributeBroadcast, carrying(kWhoIs)), ""},
      {wrap(F::kOriginalUnicast, carrying("")), ""},
      {"\x81\x0a\x00\x05\x01"s, ""},
      {"hello", ""},
      {"", ""},
  };
  std::uint64_t dropped = 0;
  for (const auto& one : cases) {
    const auto all = receive(one.bytes);
    EXPECT_EQ(all.empty() ? "" : all.front(), one.heard);
    dropped += one.heard.empty();
    EXPECT_EQ(network.dropped(), dropped) << one.heard;
  }
}

TEST_F(Network, SendsByTheShortestForm) {
  const std::string data;
  const UnconfirmedRequest whoIs{UnconfirmedService::kWhoIs, data};
  network.send({kPeer, {}}, whoIs, true);
  network.send({kPeer, kFar}, whoIs, false);
  network.broadcast(kBroadcast, kLocalNetwork, whoIs);
  network.broadcast(kBroadcast, kGlobalNetwork, whoIs);
  network.broadcastThrough(kPeer, 7, whoIs);
  network.askForRouter(kBroadcast, 7);
  std::vector<std::string> sent;
  for (const auto& datagram : net.sent()) sent.push_back(datagram.bytes);
  EXPECT_THAT(sent, ElementsAre("\x81\x0a\x00\x08\x01\x04\x10\x08"s,                      //
                                "\x81\x0a\x00\x0d\x01\x20\x00\x07\x01\x05\xff\x10\x08"s,  //
                                "\x81\x0b\x00\x08\x01\x00\x10\x08"s,                      //
                                "\x81\x0b\x00\x0c\x01\x20\xff\xff\x00\xff\x10\x08"s,      //
                                "\x81\x0a\x00\x0c\x01\x20\x00\x07\x00\xff\x10\x08"s,      //
                                "\x81\x0b\x00\x09\x01\x80\x00\x00\x07"s));
}

TEST_F(Network, AForeignDeviceRegistersAgainAndBroadcastsThroughTheBbmd) {
  network.registerForeignDevice(kBbmd, 60, std::chrono::seconds(30));
  clock.advance(std::chrono::seconds(95));
  ASSERT_EQ(net.sent().size(), 4);
  for (const auto& datagram : net.sent()) {
    EXPECT_EQ(datagram.to, kBbmd);
    EXPECT_EQ(datagram.bytes, "\x81\x05\x00\x06\x00\x3c"s);
  }
  const std::string data;
  network.broadcast(kBroadcast, kLocalNetwork, UnconfirmedRequest{UnconfirmedService::kWhoIs, data});
  EXPECT_EQ(net.sent().back().to, kBbmd);
  EXPECT_EQ(net.sent().back().bytes, "\x81\x09\x00\x08\x01\x00\x10\x08"s);
}

TEST_F(Network, HearsOnSeveralSocketsUntilItIsGone) {
  const auto broadcasts = net.open(kBroadcast);
  {
    CNetwork other(*socket, clock);
    other.listen(*broadcasts);
    int n = 0;
    other.onApdu([&](const Incoming&, const Apdu&) { ++n; });
    peer->send(kBroadcast, wrap(BvlcFunction::kOriginalBroadcast, carrying(kWhoIs)));
    clock.advance(std::chrono::seconds(1));
    EXPECT_GE(n, 1);
  }
  peer->send(kBroadcast, wrap(BvlcFunction::kOriginalBroadcast, carrying(kWhoIs)));
  clock.advance(std::chrono::seconds(1));
}

}  // namespace
