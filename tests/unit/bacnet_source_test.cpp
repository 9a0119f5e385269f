#include "helper/source/bacnet_source.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "bacnet/codec/bvlc.h"
#include "bacnet/codec/describe.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"
#include "bacnet/server/server.h"
#include "bacnet/server/standard_object.h"
#include "bacnet/service/property.h"
#include "helper/source/link_sockets.h"
#include "io/fake/fake_clock.h"
#include "io/fake/fake_network.h"
#include "support/temp_dir.h"

namespace helper {
namespace {

using namespace std::chrono_literals;
using bacnet::ObjectId;
using plant::DataType;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

namespace object = bacnet::object_type;
namespace property = bacnet::property;

const io::Address kDeviceAddress{0xC0000202, bacnet::kStandardPort};  // 192.0.2.2
const io::Address kOwnAddress{0xC0000201, bacnet::kStandardPort};

constexpr ObjectId kAnalog{object::kAnalogOutput, 1};
constexpr ObjectId kBits{object::kBitstringValue, 1};
constexpr ObjectId kMoment{object::kDatetimeValue, 1};

plant::Point point(std::int32_t regId, ObjectId id, DataType type, bacnet::PropertyId propId = property::kPresentValue,
                   std::int32_t index = -1) {
  plant::Point made;
  made.name = "Point" + std::to_string(regId);
  made.regId = regId;
  made.objectType = id.type;
  made.instance = static_cast<std::int32_t>(id.instance);
  made.propId = static_cast<std::int32_t>(propId);
  made.type = type;
  made.arrayIndex = index;
  return made;
}

// The source on one end of a network, and a device of our own on the other.
class BacnetSource : public testing::Test {
 protected:
  BacnetSource() {
    for (const ObjectId id : {kAnalog, ObjectId{object::kBinaryValue, 1}, ObjectId{object::kMultiStateValue, 1}, kBits,
                              ObjectId{object::kCharacterstringValue, 1}, kMoment}) {
      device.add(bacnet::server::makeStandardObject(id, "Object " + std::to_string(id.type)));
    }
    hold(kAnalog, 20.5F);
    hold(kBits, bacnet::BitString{{true, false, true}});

    link->ip = io::ipText(kDeviceAddress.ip);
    link->deviceId = 4711;
    link->points = {point(0, kAnalog, DataType::kReal),
                    point(1, {object::kBinaryValue, 1}, DataType::kBool),
                    point(2, {object::kMultiStateValue, 1}, DataType::kUdint),
                    point(3, kBits, DataType::kBool),
                    point(4, kAnalog, DataType::kReal, property::kPriorityArray, 3),
                    point(5, kAnalog, DataType::kReal, property::kPriorityArray, 8),
                    point(6, {object::kAnalogOutput, 99}, DataType::kReal),
                    point(7, kAnalog, DataType::kReal),
                    point(8, {object::kCharacterstringValue, 1}, DataType::kString)};
    link->points[3].bitNum = 1;
    link->points[7].priorityReset = true;
  }

  ResultCode connect() {
    ResultCode code = source.load(link, directory.path()).code;
    if (code != ResultCode::kDone) return code;
    source.connect(clock.now() + 2500ms, [&](const Outcome& outcome) { code = outcome.code; });
    return code;
  }

  std::string readNow(std::vector<std::size_t> indices) {
    std::vector<PointRead> reads;
    for (const std::size_t i : indices) reads.push_back({&link->points[i], 16});
    std::string text;
    const io::TimePoint asked = clock.now();
    source.read(reads, asked + 2500ms, [&](const std::vector<Reading>& readings) {
      for (const Reading& each : readings) {
        const bool isGood = each.code == ResultCode::kDone;
        text += isGood ? plant::toText(each.value) : "#" + std::to_string(static_cast<int>(each.code));
        text += ' ';
      }
    });
    EXPECT_TRUE(clock.runUntil([&] { return !text.empty(); }, 2500ms));
    took = clock.now() - asked;
    return text;
  }

  int writeNow(std::size_t index, plant::Value value) {
    int code = -1;
    source.write({{&link->points[index], std::move(value), 16}}, clock.now() + 2500ms,
                 [&](const std::vector<Outcome>& outcomes) { code = static_cast<int>(outcomes.front().code); });
    EXPECT_TRUE(clock.runUntil([&] { return code >= 0; }, 2500ms));
    return code;
  }

  void silence(bool isSilent) {
    using Fate = io::CFakeNetwork::Fate;
    network.setScript([=](const auto&) { return isSilent ? Fate{{}} : Fate(); });
  }

  void hold(ObjectId id, bacnet::Value value) { device.find(id)->set(property::kPresentValue, {std::move(value)}); }
  std::string bits() { return bacnet::describe(device.find(kBits)->values(property::kPresentValue)); }

  // The answer of a BBMD.
  void answerRegistration(std::uint16_t result, io::CDatagrams& socket) {
    bacnet::Bvlc answer;
    answer.function = bacnet::BvlcFunction::kResult;
    answer.result = result;
    socket.send(kOwnAddress, bacnet::encodeBvlc(answer));
    clock.advance(10ms);
  }

  io::CFakeClock clock;
  io::CFakeNetwork network{clock};
  support::TempDir directory;
  std::shared_ptr<plant::Link> link = std::make_shared<plant::Link>();
  bacnet::server::CDevice device{{4711, "Device", "Vendor", 999, "Model", "1", "1", "", ""}};
  std::unique_ptr<io::CDatagrams> deviceSocket = network.open(kDeviceAddress);
  bacnet::CNetwork deviceNetwork{*deviceSocket, clock};
  bacnet::server::CServer server{deviceNetwork, clock, device, {io::kBroadcastIp, bacnet::kStandardPort}};

  std::vector<std::string> log;
  int opened = 0;
  CBacnetSource source{clock,
                       [&](const LinkSettings&, const HelperOptions&, const CBacnetSource::Log&) {
                         ++opened;
                         return network.open(kOwnAddress);
                       },
                       [&](const std::string& line) { log.push_back(line); }};
  io::Duration took{};
};

TEST_F(BacnetSource, ReadsWritesAndReleases) {
  ASSERT_EQ(connect(), ResultCode::kDone);
  EXPECT_EQ(readNow({0, 1, 2, 3}), "20.5 false 1 false ");
  EXPECT_EQ(readNow({4, 6}), "#22 #1031 ");

  EXPECT_EQ(writeNow(0, 21.5F), 0);
  EXPECT_EQ(writeNow(4, 30.0F), 0);
  EXPECT_EQ(readNow({0, 4, 5}), "30 30 21.5 ") << "a write goes to slot 8, and slot 3 comes before it";
  EXPECT_EQ(writeNow(4, 0.0F), 0);
  EXPECT_EQ(readNow({0}), "0 ") << "a value of 0 is a value";
  EXPECT_EQ(writeNow(7, 1.0F), 0);
  EXPECT_EQ(readNow({5}), "#22 ") << "the release point has freed slot 8";

  EXPECT_EQ(writeNow(1, true), 0);
  EXPECT_EQ(writeNow(2, std::uint32_t{2}), 0);
  EXPECT_EQ(writeNow(3, true), 0);
  EXPECT_EQ(writeNow(8, std::string("Küche")), 0);
  EXPECT_EQ(readNow({1, 2, 3, 8}), "true 2 true Küche ");
  EXPECT_EQ(bits(), "111") << "the other bits stay";
  EXPECT_EQ(writeNow(6, 1.0F), 1031);
}

TEST_F(BacnetSource, SeveralBitsOfOnePropertyAreWrittenInOneCall) {
  link->points.push_back(link->points[3]);
  link->points.back().regId = 9;
  link->points.back().bitNum = 0;
  ASSERT_EQ(connect(), ResultCode::kDone);
  std::vector<Outcome> outcomes;
  source.write({{&link->points[3], true, 1}, {&link->points[9], false, 1}}, clock.now() + 2500ms,
               [&](const std::vector<Outcome>& given) { outcomes = given; });
  ASSERT_TRUE(clock.runUntil([&] { return !outcomes.empty(); }, 2500ms));
  EXPECT_EQ(bits(), "011");
}

TEST_F(BacnetSource, ADateAndTimeIsWrittenAsItIsRead) {
  link->points[8] = point(8, kMoment, DataType::kString);
  ASSERT_EQ(connect(), ResultCode::kDone);
  EXPECT_EQ(writeNow(8, std::string("2026-11-22,12:30:05")), 0);
  EXPECT_EQ(readNow({8}), "2026-11-22,12:30 ") << "as long as the register";
  EXPECT_EQ(writeNow(8, std::string("2026-11-22")), static_cast<int>(ResultCode::kDoesNotFit));
}

TEST_F(BacnetSource, SaysAPointsFailureOnceAndItsEnd) {
  ASSERT_EQ(connect(), ResultCode::kDone);
  log.clear();
  for (int i = 0; i < 3; ++i) readNow({0, 4, 6});
  EXPECT_THAT(log, ElementsAre("read RegId 6 (Point6, analog-output 99 present-value): unknown-object (code 1031)"));
  device.add(bacnet::server::makeStandardObject({object::kAnalogOutput, 99}, "late"));
  for (int i = 0; i < 3; ++i) readNow({6});
  EXPECT_THAT(log.back(), HasSubstr("well again"));
  EXPECT_EQ(log.size(), 2U);
}

TEST_F(BacnetSource, ASilentDeviceAnswersInTimeThenAtOnceAndIsReadAgain) {
  ASSERT_EQ(connect(), ResultCode::kDone);
  readNow({0});
  silence(true);
  log.clear();
  EXPECT_EQ(readNow({0, 1, 2}), "#20 #20 #20 ");
  EXPECT_LE(took, 2500ms);
  clock.advance(10s);
  EXPECT_EQ(readNow({0, 1, 2, 3, 4, 5, 6, 7, 8}), "#20 #20 #20 #20 #20 #20 #20 #20 #20 ");
  EXPECT_EQ(took, 0ms);
  EXPECT_EQ(log.size(), 1U) << "said once";
  clock.advance(120s);
  silence(false);
  int seconds = 0;
  while (readNow({0}) != "20.5 " && seconds < 60) clock.advance(1s), ++seconds;
  EXPECT_LE(seconds, 9) << "who is asked for is probed more often";
}

TEST_F(BacnetSource, ASubscribedValueIsAnsweredWithoutAsking) {
  link->enableSCOV = 2;
  ASSERT_EQ(connect(), ResultCode::kDone);
  clock.advance(5s);
  network.forget();
  EXPECT_EQ(readNow({0, 1}), "20.5 false ");
  EXPECT_TRUE(network.sent().empty());
  hold(kAnalog, 25.0F);
  server.valuesChanged();
  clock.advance(100ms);
  EXPECT_EQ(readNow({0}), "25 ");
  EXPECT_EQ(writeNow(0, 26.0F), 0);
  EXPECT_EQ(readNow({0}), "26 ") << "a write is never followed by the value before it";

  hold(kBits, bacnet::BitString{{false, false, false}});  // which nobody is told
  EXPECT_EQ(writeNow(3, true), 0);
  EXPECT_EQ(bits(), "010") << "the other bits are the device's, not those remembered";
}

TEST_F(BacnetSource, AReloadedProjectKeepsItsConnectionUnlessTheRoadChanges) {
  ASSERT_EQ(connect(), ResultCode::kDone);
  link = std::make_shared<plant::Link>(*link);
  link->points.pop_back();
  ASSERT_EQ(source.load(link, directory.path()).code, ResultCode::kDone);
  EXPECT_EQ(readNow({0}), "20.5 ");
  EXPECT_EQ(opened, 1);

  link = std::make_shared<plant::Link>(*link);
  link->enableReadPropm = true;
  ASSERT_EQ(source.load(link, directory.path()).code, ResultCode::kDone);
  EXPECT_EQ(readNow({0, 1}), "20.5 false ");
  EXPECT_EQ(opened, 2);

  link = std::make_shared<plant::Link>(*link);
  link->ip.clear();
  link->deviceId = 0;
  ASSERT_EQ(source.load(link, directory.path()).code, ResultCode::kDone);
  EXPECT_EQ(readNow({0}), "#7 ");
  EXPECT_EQ(connect(), ResultCode::kConfiguration);
}

TEST_F(BacnetSource, ARefusedPortOrOptionsFileRefusesWithItsCode) {
  CBacnetSource unlucky(
      clock,
      [](const LinkSettings&, const HelperOptions&, const CBacnetSource::Log&) -> std::unique_ptr<io::CDatagrams> {
        throw std::system_error(std::make_error_code(std::errc::permission_denied), "bind");
      },
      [](const std::string&) {});
  ASSERT_EQ(unlucky.load(link, directory.path()).code, ResultCode::kDone);
  unlucky.connect(clock.now(), [](const Outcome& outcome) {
    EXPECT_EQ(outcome.code, ResultCode::kLocalNetwork);
    EXPECT_THAT(outcome.note, HasSubstr("bind"));
  });
  directory.write("helper.json", "{\"batch\": 1}");
  const Outcome outcome = unlucky.load(link, directory.path());
  EXPECT_EQ(outcome.code, ResultCode::kProjectRefused);
  EXPECT_THAT(outcome.note, HasSubstr("helper.json: \"batch\""));
}

TEST_F(BacnetSource, AFaultFlagIsACodeWhereAsked) {
  directory.write("helper.json", R"({"faultCode": true})");
  ASSERT_EQ(connect(), ResultCode::kDone);
  EXPECT_EQ(readNow({0, 4}), "20.5 #22 ");
  device.find(kAnalog)->set(property::kStatusFlags, {bacnet::BitString{{false, true, false, false}}});
  device.find(kAnalog)->set(property::kReliability, {bacnet::Enumerated{7}});
  EXPECT_EQ(readNow({0}), "#25 ");
}

TEST_F(BacnetSource, ADeviceThatAnswersFromAnotherAddressNeedsAnOwnPort) {
  const io::Address other{kDeviceAddress.ip + 1, 50000};
  const auto answering = network.open(other);
  deviceSocket->onReceive([&](const io::Address& from, std::string_view) {
    bacnet::CNetwork sender(*answering, clock);
    const std::string ack = bacnet::encode(
        bacnet::ReadPropertyAck{kAnalog, {property::kPresentValue, std::nullopt}, {bacnet::Value(3.5F)}});
    for (int id = 0; id < 256; ++id) {
      sender.send({from, std::nullopt},
                  bacnet::ComplexAck{static_cast<std::uint8_t>(id), bacnet::ConfirmedService::kReadProperty, {}, ack},
                  false);
    }
  });
  for (const bool hasOwnPort : {false, true}) {
    directory.write("helper.json", hasOwnPort ? R"({"ownPort": true})" : "{}");
    ASSERT_EQ(connect(), ResultCode::kDone);
    EXPECT_EQ(readNow({0}), hasOwnPort ? "3.5 " : "#20 ");
  }
}

TEST_F(BacnetSource, ARefusalOfTheBbmdIsSaidOnceAndNobodyElsesIs) {
  link->mode = 2;
  ASSERT_EQ(connect(), ResultCode::kDone);
  log.clear();
  const auto stranger = network.open({kDeviceAddress.ip + 1, bacnet::kStandardPort});
  constexpr std::uint16_t kTaken = 0;
  constexpr std::uint16_t kRefused = 0x30;
  for (const std::uint16_t result : {kRefused, kRefused, kTaken}) {
    answerRegistration(result, *deviceSocket);
    answerRegistration(result == kTaken ? kRefused : kTaken, *stranger);
  }
  EXPECT_THAT(log, ElementsAre(HasSubstr("192.0.2.2:47808 refuses: result 0x0030"), HasSubstr("again")));
}

TEST_F(BacnetSource, ABbmdThatDoesNotAnswerIsSaidOnce) {
  link->mode = 2;
  ASSERT_EQ(connect(), ResultCode::kDone);
  log.clear();
  clock.advance(11s);
  EXPECT_THAT(log, Contains(HasSubstr("the BBMD 192.0.2.2:47808 does not answer")));
  clock.advance(5min);
  answerRegistration(0, *deviceSocket);
  clock.advance(60s);
  log.erase(std::remove_if(log.begin(), log.end(), [](const auto& line) { return line.find("BBMD") == line.npos; }),
            log.end());
  EXPECT_THAT(log, ElementsAre(HasSubstr("does not answer"), HasSubstr("takes the registration again")));
}

// A host connects again and again while it is refused.
TEST_F(BacnetSource, WhatIsSaidOfTheSocketsIsSaidAgainOnlyWhenItChanges) {
  std::string state = "deaf";
  CBacnetSource unlucky(
      clock,
      [&](const LinkSettings&, const HelperOptions&,
          const CBacnetSource::Log& remark) -> std::unique_ptr<io::CDatagrams> {
        remark(state);
        throw std::system_error(std::make_error_code(std::errc::permission_denied), "bind");
      },
      [&](const std::string& line) { log.push_back(line); });
  ASSERT_EQ(unlucky.load(link, directory.path()).code, ResultCode::kDone);
  log.clear();
  for (const char* each : {"deaf", "deaf", "deaf", "shut out", "shut out", "deaf"}) {
    state = each;
    unlucky.connect(clock.now(), [](const Outcome&) {});
  }
  EXPECT_THAT(log, ElementsAre("deaf", "shut out", "deaf"));
}

TEST_F(BacnetSource, ReadsAheadWhatIsAskedForInTurn) {
  constexpr std::size_t kPoints = 100;
  constexpr std::size_t kBatch = 11;
  link->enableReadPropm = true;
  link->points.clear();
  for (std::uint32_t i = 0; i < kPoints; ++i) {
    const ObjectId id{object::kAnalogValue, i};
    device.add(bacnet::server::makeStandardObject(id, "Value " + std::to_string(i)))
        ->set(property::kPresentValue, {static_cast<float>(i)});
    link->points.push_back(point(static_cast<std::int32_t>(i), id, DataType::kReal));
  }
  ASSERT_EQ(connect(), ResultCode::kDone);
  readNow({0});

  const auto scan = [&] {
    network.forget();
    std::string expected;
    std::string values;
    for (std::size_t first = 0; first < kPoints; first += kBatch) {
      std::vector<std::size_t> batch;
      for (std::size_t i = first; i < std::min(kPoints, first + kBatch); ++i) {
        batch.push_back(i);
        expected += std::to_string(i) + " ";
      }
      values += readNow(batch);
    }
    EXPECT_EQ(values, expected);
    return network.sent().size() / 2;  // each request has its answer
  };
  EXPECT_EQ(scan(), 10U);
  EXPECT_EQ(scan(), 10U) << "an order is known when it has been seen twice";
  EXPECT_EQ(scan(), 2U);
  clock.advance(1100ms);
  EXPECT_EQ(scan(), 2U) << "what is older than a second is read anew";

  readNow({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
  hold({object::kAnalogValue, 20}, 77.0F);
  EXPECT_EQ(writeNow(50, 1.0F), 0);
  EXPECT_EQ(readNow({20}), "77 ") << "nothing that was read before a write counts";
  hold({object::kAnalogValue, 20}, 78.0F);
  EXPECT_EQ(readNow({20}), "78 ") << "a value is handed out once";
}

TEST(LinkSockets, SharePortsAndLeaveThemToOthers) {
  io::CFakeClock clock;
  io::CFakeNetwork network{clock};
  const support::TempDir directory;
  std::vector<std::string> opened;  // since the last look: shared, the local port, and the peer
  std::vector<std::string> log;
  bool isCutOff = false;
  bool isTaken = false;
  const auto open = [&](const io::UdpOptions& options) {
    if (isCutOff && options.peer)
      throw std::system_error(std::make_error_code(std::errc::network_unreachable), "connect");
    if (isTaken && options.isShared) throw std::system_error(std::make_error_code(std::errc::address_in_use), "bind");
    opened.push_back((options.isShared ? "shared " : "own ") + std::to_string(options.local.port) +
                     (options.peer ? " to " + io::addressText(*options.peer) : ""));
    return network.open({kOwnAddress.ip, 0}, options.peer);
  };
  const auto opens = [&] { return std::exchange(opened, {}); };
  const auto remark = [&](const std::string& line) { log.push_back(line); };
  const CLinkSockets::Options options{47809, 47810, false, 0xC00002FF, directory.path()};

  CLinkSockets first(options, open, remark);
  EXPECT_THAT(opens(), ElementsAre("own 0", "shared 47810", "shared 47810")) << "I-Am goes to the devices' port";
  first.open(kDeviceAddress);
  EXPECT_THAT(opens(), ElementsAre("shared 47809 to 192.0.2.2:47808"));
  EXPECT_THAT(log, ElementsAre());

  CLinkSockets second(options, open, remark);
  opens();
  second.open(kDeviceAddress);
  EXPECT_THAT(opens(), ElementsAre("own 0 to 192.0.2.2:47808")) << "answers are not to be mixed up";
  EXPECT_THAT(log, ElementsAre(HasSubstr("a free port instead of 47809")));

  isCutOff = true;
  for (int i = 0; i < 3; ++i) second.send({kDeviceAddress.ip + 1, 47808}, "x");
  EXPECT_THAT(log, ElementsAre(testing::_, HasSubstr("no socket for 192.0.2.3:47808"))) << "never a line a request";

  isTaken = true;
  CLinkSockets third(options, open, remark);
  for (int i = 0; i < 2; ++i) third.send({io::kBroadcastIp, 47810}, "x");
  EXPECT_EQ(log.size(), 4U) << "each address once";
  isTaken = false;
  opens();
  third.send({io::kBroadcastIp, 47810}, "x");
  EXPECT_THAT(opens(), ElementsAre("shared 47810", "shared 47810")) << "the other program has ended";
}

}  // namespace
}  // namespace helper
