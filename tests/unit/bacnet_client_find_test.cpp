#include "support/device_client_fixture.h"

namespace test {
namespace {

using namespace bacnet;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const NetworkAddress kFar{12, "\x05"};

void byWhoIs(DeviceSettings& settings) {
  settings.station.reset();
}

using FindDevice = DeviceClient;

TEST_F(FindDevice, ByWhoIsAtOnce) {
  make(byWhoIs);
  EXPECT_EQ(client->profile().station, (Station{kDevice, {}}));
  EXPECT_EQ(client->profile().maxApdu, 1476);
  EXPECT_EQ(client->profile().vendor, 7);
  EXPECT_EQ(readOne(3), "3");
  EXPECT_THAT(device.asked, SizeIs(1)) << "the I-Am has said what it takes";
}

TEST_F(FindDevice, OneThatIsNotThereIsLookedForEverMoreSeldom) {
  device.announces = false;
  make(byWhoIs);
  EXPECT_EQ(readOne(3), "not found");
  EXPECT_EQ(took, 2400) << "since it has been looked for";
  EXPECT_EQ(readOne(3), "not found");
  EXPECT_EQ(took, 0);
  std::vector<int> asked;
  for (std::size_t before = device.whoIs; now() < 1300'000; wait(seconds(1))) {
    if (device.whoIs > before) asked.push_back((now() + 500) / 1000);
    before = device.whoIs;
  }
  EXPECT_THAT(asked, ElementsAre(10, 30, 70, 150, 310, 610, 910, 1210));
  device.announces = true;
  device.iAm();
  wait(milliseconds(10));
  EXPECT_EQ(readOne(3), "3");
  EXPECT_THAT(events, ElementsAre(HasSubstr("not found"), HasSubstr("is found")));
}

TEST_F(FindDevice, OneThatMovesIsFollowed) {
  make(byWhoIs);
  EXPECT_EQ(readOne(3), "3");
  device.moveTo(kElsewhere);
  EXPECT_EQ(readOne(3), "silent");
  wait(seconds(5));
  EXPECT_EQ(readOne(3), "3") << "Who-Is has found it";
  device.moveTo(kDevice);
  device.iAm();
  wait(milliseconds(1010));
  EXPECT_EQ(readOne(3), "3");
  EXPECT_EQ(took, 2) << "it has said so itself, and nobody answers where it was";
  EXPECT_THAT(events, ElementsAre(HasSubstr("does not answer"), HasSubstr("moved to 10.0.0.3"),
                                  HasSubstr("answers again"), HasSubstr("moved to 10.0.0.2")));
}

TEST_F(FindDevice, AnotherDeviceOfItsNumberIsToldOnceAndChangesNothing) {
  make(byWhoIs);
  CScriptedDevice other(net, clock, kElsewhere, kDeviceId);
  for (int i = 0; i < 3; ++i) {
    other.iAm();
    wait(seconds(2));
    EXPECT_EQ(client->profile().station, (Station{kDevice, {}}));
  }
  EXPECT_THAT(events, ElementsAre(HasSubstr("another device of its number is at 10.0.0.3")));
  device.isDead = true;
  EXPECT_EQ(readOne(3), "silent");
  wait(seconds(5));
  EXPECT_EQ(client->profile().station, (Station{kElsewhere, {}})) << "the only one that is left";
}

TEST_F(FindDevice, AnotherNumberAtItsAddressShowsWithTheFirstAnswer) {
  device.announces = false;
  device.isDead = true;
  make([](auto& settings) { settings.deviceId = 99; });
  device.isDead = false;
  wait(seconds(10));
  EXPECT_EQ(readOne(3), "3");
  EXPECT_THAT(events, Contains(HasSubstr("device 4711 says that it is at the address of device 99 at 10.0.0.2")));
}

TEST_F(FindDevice, AnotherDeviceAtItsAddressIsToldOnce) {
  make();
  for (std::uint32_t i = 0; i < 4; ++i) {
    const std::string data = encode(IAm{98 + i % 2, 480, Segmentation::kNone, 1});
    device.send(UnconfirmedRequest{UnconfirmedService::kIAm, data});
    wait(milliseconds(10));
  }
  EXPECT_THAT(events, ElementsAre(HasSubstr("device 98 "), HasSubstr("device 99 ")));
  EXPECT_EQ(client->profile().deviceId, kDeviceId);
  CScriptedDevice other(net, clock, kElsewhere, kDeviceId);
  other.iAm();
  wait(milliseconds(10));
  EXPECT_EQ(client->profile().station, (Station{kDevice, {}})) << "a given address stays";
}

TEST_F(FindDevice, WithoutAnIdItIsAskedForIt) {
  device.maxApdu = 206;
  make([](auto& settings) { settings.deviceId.reset(); });
  EXPECT_EQ(client->profile().deviceId, kDeviceId);
  EXPECT_EQ(client->profile().maxApdu, 206);
  EXPECT_EQ(client->profile().segmentation, Segmentation::kBoth);
}

TEST_F(FindDevice, ThatGivesNoProfileIsReadAllTheSame) {
  const auto isProfile = [](const auto& request, auto) {
    const auto read = parseReadProperty(request.data);
    return read && read->reference.property == property::kMaxApduLengthAccepted;
  };
  device.script = where(isProfile, keepsQuiet());
  make();
  EXPECT_EQ(readOne(3), "silent");
  wait(milliseconds(1500));
  EXPECT_EQ(readOne(3), "3");
  EXPECT_EQ(client->profile().maxApdu, 480);
}

TEST_F(FindDevice, BehindARouter) {
  const std::function<void(DeviceSettings&)> ways[] = {
      [](auto& s) {
        s.station = Station{kDevice, kFar};
      },                                                                                             // all is given
      [](auto& s) { s.station.reset(), s.network = 12, s.router = kDevice, s.remoteMac = "\x05"; },  // likewise
      [](auto& s) { s.station.reset(), s.network = 12, s.router = kDevice; },    // Who-Is through it
      [](auto& s) { s.station.reset(), s.network = 12; },                        // and who it is
      [](auto& s) { s.station.reset(), s.network = 12, s.remoteMac = "\x05"; },  // the router alone
  };
  device.behind = kFar;
  for (const auto& way : ways) {
    make([&](auto& settings) {
      way(settings);
      settings.mayReadMultiple = true;
    });
    EXPECT_EQ(client->profile().station, (Station{kDevice, kFar}));
    EXPECT_EQ(read(presentValues(100)).back(), "99");
    for (const auto& asked : device.asked) EXPECT_LE(asked.octets, 480) << "whatever is on the way";
    EXPECT_THAT(events, IsEmpty());
  }
}

TEST_F(FindDevice, AnotherRouterThatLeadsThereAsWellChangesNothing) {
  device.behind = kFar;
  const std::function<void(DeviceSettings&)> ways[] = {
      [](auto& s) { s.network = 12, s.router = kDevice; },
      [](auto& s) { s.network = 12, s.deviceId.reset(), s.remoteMac = "\x05"; },
  };
  for (const auto& way : ways) {
    make([&](auto& settings) { settings.station.reset(), way(settings); });
    CScriptedDevice second(net, clock, kElsewhere, kDeviceId);
    second.behind = kFar;
    second.iAm();
    second.sendMessage(NetworkMessageType::kIAmRouterToNetwork, encodeNetworks({12}));
    wait(milliseconds(10));
    EXPECT_EQ(client->profile().station, (Station{kDevice, kFar}));
    EXPECT_EQ(readOne(3), "3");
    EXPECT_THAT(events, IsEmpty());
  }
}

TEST_F(FindDevice, ARoutersNoEndsTheWait) {
  using Type = NetworkMessageType;
  const struct {
    Type type;
    std::string data;
    std::string outcome;
    int ms;
  } cases[] = {
      {Type::kRejectMessageToNetwork, {"\x01\x00\x0c", 3}, "unreachable", 2},
      {Type::kRouterBusyToNetwork, encodeNetworks({11, 12}), "unreachable", 2},
      {Type::kRouterBusyToNetwork, "", "unreachable", 2},
      {Type::kRejectMessageToNetwork, {"\x04\x00\x0c", 3}, "too long", 2},
      {Type::kRejectMessageToNetwork, {"\x01\x00\x0b", 3}, "silent", 2500},  // another network
      {Type::kRejectMessageToNetwork, {"\x01\x00", 2}, "silent", 2500},      // cut
      {Type::kRouterAvailableToNetwork, encodeNetworks({12}), "silent", 2500},
  };
  device.behind = kFar;
  for (const auto& one : cases) {
    device.script = nullptr;
    make([](auto& settings) { settings.station = Station{kDevice, kFar}; });
    device.script = always([&](const auto&) { return device.sendMessage(one.type, one.data), kNoAnswer; });
    EXPECT_EQ(readOne(1), one.outcome);
    EXPECT_EQ(took, one.ms) << one.outcome;
    device.script = nullptr;
    wait(milliseconds(1010));
    EXPECT_EQ(readOne(1), "1") << "it does not stick";
    EXPECT_THAT(events, IsEmpty());
  }
}

}  // namespace
}  // namespace test
