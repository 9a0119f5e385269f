#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "device/virtual_device.h"
#include "io/fake/fake_clock.h"
#include "support/bacnet_asker.h"

namespace {

using namespace bacnet;  // NOLINT(google-build-using-namespace)
using namespace std::chrono_literals;
using device::Behaviour;
using device::CVirtualDevice;

const io::Address kAt{0x0A000001, 47808};
const io::Address kBroadcast{0x0A0000FF, 47808};

plant::Point point(const std::string& name, int type, int instance, int property = 85,
                   const std::string& dataType = "REAL") {
  plant::Point made;
  plant::setName(made, name);
  static int regId = 0;
  made.regId = ++regId;
  made.objectType = type;
  made.instance = instance;
  made.propId = property;
  plant::setDataType(made, dataType);
  return made;
}

plant::Link linkOf(std::vector<plant::Point> points) {
  plant::Link link;
  link.linkId = 1;
  link.points = std::move(points);
  return link;
}

class BacnetDevice : public testing::Test {
 protected:
  BacnetDevice() { net.addBroadcastAddress(kBroadcast.ip); }

  CVirtualDevice& start(const plant::Link& link) {
    device.emplace(clock, device::Place{*socket, {}, kBroadcast}, link, 4711);
    return *device;
  }
  void behave(const std::string& json) {
    Behaviour behaviour;
    std::string error;
    ASSERT_TRUE(device::readBehaviour(json, behaviour, error)) << error;
    if (!device) start(linkOf({point("Temp", 0, 1), point("Set", 1, 1), point("Text", 40, 1)}));
    device->behave(behaviour);
    settle();
    asker.heard.clear();
  }
  void settle(io::Duration time = 1s) { clock.advance(time); }
  std::string readTemp() { return asker.read({0, 1}, 85); }
  std::string nameOf(ObjectId id) { return asker.read(id, 77); }

  io::CFakeClock clock;
  io::CFakeNetwork net{clock};
  std::unique_ptr<io::CDatagrams> socket = net.open(kAt);
  std::optional<CVirtualDevice> device;
  support::BacnetAsker asker{clock, net, {0x0A000002, 47808}, kAt};
};

TEST_F(BacnetDevice, HasTheObjectsThatThePointsName) {
  start(linkOf({point("Speed.Limit", 1, 1, 45), point("Speed", 1, 1), point("Speed.Priority[8]", 1, 1, 87),
                point("Mode.Text[6]", 14, 1, 110, "STRING"), point("Speed", 2, 1),
                point("Speed (analog-value 2)", 3, 1), point("Speed", 2, 2), point("Own[3]", 200, 7, 600, "UDINT"),
                point("Device.Name", 8, 4711, 77, "STRING"), point("Enable", 0, 2, 35, "BOOL")}));
  EXPECT_TRUE(device->remarks().empty());
  EXPECT_EQ(device->objectCount(), 8U);
  EXPECT_EQ(nameOf({1, 1}), "Speed");
  EXPECT_EQ(nameOf({2, 1}), "Speed (analog-value 1)");  // names are unique
  EXPECT_EQ(nameOf({2, 2}), "Speed (analog-value 2) (analog-value 2)");
  EXPECT_EQ(asker.read({1, 1}, 45), "0");
  EXPECT_EQ(asker.read({1, 1}, 87, 8), "null");
  EXPECT_EQ(asker.read({14, 1}, 110, 6) + " " + asker.read({14, 1}, 74), "State 6 6");
  EXPECT_EQ(asker.write({14, 1}, {85, {}}, {std::uint64_t{6}}), "done");
  EXPECT_EQ(asker.read({200, 7}, 600), "0,0,0");
  EXPECT_EQ(asker.write({200, 7}, {600, 2}, {std::uint64_t{5}}), "done");
  EXPECT_EQ(asker.read({200, 7}, 600, 2), "5");
  EXPECT_EQ(asker.read({0, 2}, 35), "000");
}

TEST_F(BacnetDevice, RemarksOnPointsThatADeviceRefuses) {
  start(linkOf({point("Temp[1]", 0, 1), point("Far", 8, 4712, 77), point("Bad", 1024, 1), point("Bad", 0, 4194303),
                point("Slot[8]", 0, 1, 87)}));
  EXPECT_THAT(
      device->remarks(),
      testing::ElementsAre("Temp[1]: present-value of analog-input 1 is no array, reading [1] of it is an error",
                           "Far: device 4712 is another device, this is 4711", "Bad: no such object or property can be",
                           "Bad: no such object or property can be",
                           "Slot[8]: analog-input 1 is not commanded and has no priority-array"));
}

TEST_F(BacnetDevice, MovesWhatNobodyHolds) {
  start(linkOf({point("Temp", 0, 1), point("Valve", 1, 1), point("Set", 2, 1), point("Fan", 3, 1, 85, "BOOL"),
                point("Count", 48, 1, 85, "UDINT"), point("Mode", 19, 1, 85, "UINT"),
                point("Text", 40, 1, 85, "STRING"), point("Own", 200, 1, 600)}));
  device->behave({});
  const auto all = [&] {
    std::vector<std::string> values;
    for (const ObjectId id : {ObjectId{0, 1}, {1, 1}, {2, 1}, {3, 1}, {48, 1}, {19, 1}, {40, 1}}) {
      values.push_back(asker.read(id, 85));
    }
    values.push_back(asker.read({200, 1}, 600));
    return values;
  };
  const auto moved = [&] {  // a letter for each value that has moved
    const auto before = all();
    settle(10s);
    const auto after = all();
    std::string letters;
    for (std::size_t i = 0; i < before.size(); ++i) letters += before[i] == after[i] ? '.' : "iovbcmtp"[i];
    return letters;
  };
  EXPECT_EQ(moved(), "i.vbcmtp");
  asker.write({0, 1}, {81, {}}, {true});
  asker.write({2, 1}, {85, {}}, {1.0F}, 8);
  asker.write({48, 1}, {104, {}}, {std::uint64_t{5}});
  asker.write({200, 1}, {600, {}}, {5.0F});
  EXPECT_EQ(moved(), "...b.mt.");
  asker.write({0, 1}, {81, {}}, {false});
  asker.write({2, 1}, {85, {}}, {Null{}}, 8);
  EXPECT_EQ(moved(), "i.vb.mt.");
  behave(R"({"still": true})");
  EXPECT_EQ(moved(), "........");
}

TEST_F(BacnetDevice, SaysWhoItIsWhenThatIsNews) {
  const auto announced = [&](const std::string& json) {
    net.forget();
    behave(json);
    std::string numbers;
    for (const auto& each : net.sent()) {
      if (each.to != kBroadcast) continue;
      const auto apdu = parseApdu(parseNpdu(parseBvlc(each.bytes)->npdu)->apdu);
      numbers += std::to_string(parseIAm(std::get<UnconfirmedRequest>(*apdu).data)->device) + " ";
    }
    return numbers;
  };
  EXPECT_EQ(announced("{}"), "4711 ");
  EXPECT_EQ(announced("{}"), "");
  EXPECT_EQ(announced(R"({"deviceId": 9})"), "9 ");
  EXPECT_EQ(asker.read({8, 9}, 75), "8,9");
  EXPECT_EQ(announced(R"({"restart": true})"), "4711 ");
}

TEST_F(BacnetDevice, HasTheLimitsThatItIsTold) {
  behave(R"({"maxApdu": 50, "segmentation": "none", "readMultiple": false, "maxSubscriptions": 0})");
  EXPECT_EQ(asker.read({8, 4711}, 62) + " " + asker.read({8, 4711}, 107), "50 3");
  EXPECT_EQ(asker.read({8, 4711}, 97).substr(12, 5), "10011");
  EXPECT_EQ(asker.read({8, 4711}, 371), "abort 4");
  EXPECT_EQ(asker.subscribe({1, {0, 1}, false, 60}), "error 3 19");
}

TEST_F(BacnetDevice, MakesEachFault) {
  const auto answers = [&](const std::string& rule) {
    behave(R"({"still": true, "faults": [)" + rule + "]}");
    const std::string first = readTemp();
    settle(5s);
    return first + " " + std::to_string(asker.heard.size());
  };
  behave(R"({"still": true})");
  const std::string value = readTemp();
  EXPECT_EQ(answers(R"({"silence": true})"), "nothing 0");
  EXPECT_EQ(answers(R"({"silence": true, "service": "write-property"})"), value + " 1");
  EXPECT_EQ(answers(R"({"abort": 4})"), "abort 4 1");
  EXPECT_EQ(answers(R"({"reject": 200})"), "reject 200 1");
  EXPECT_EQ(answers(R"({"error": [2, 25], "service": "read-property"})"), "error 2 25 1");
  EXPECT_EQ(answers(R"({"lose": true})"), "nothing 0");
  EXPECT_EQ(answers(R"({"delayMs": 2000})"), "nothing 1");
  EXPECT_EQ(answers(R"({"double": true})"), value + " 2");
  EXPECT_EQ(answers(R"({"cut": 12})"), "nothing 0");
  EXPECT_EQ(answers(R"({"invokeId": 3})"), value + " 1");
  const auto asked = net.sent()[net.sent().size() - 2].bytes[8];
  EXPECT_EQ(net.sent().back().bytes[7], asked + 3);
}

TEST_F(BacnetDevice, MakesAFaultWhenItsRuleSays) {
  const auto pattern = [&](const std::string& rule, int requests) {  // one request a second
    behave(R"({"seed": 3, "faults": [{"silence": true, )" + rule + "}]}");
    std::string letters;
    for (int i = 0; i < requests; ++i) {
      letters += readTemp() == "nothing" ? '-' : '+';
      settle(900ms);
    }
    return letters;
  };
  EXPECT_EQ(pattern(R"("after": 2)", 5), "++---");
  EXPECT_EQ(pattern(R"("after": 1, "times": 2)", 5), "+--++");
  EXPECT_EQ(pattern(R"("fromMs": 2000, "forMs": 2000)", 6), "++--++");
  const std::string some = pattern(R"("percent": 50)", 40);
  EXPECT_EQ(pattern(R"("percent": 50)", 40), some);  // the seed's
  EXPECT_THAT(std::count(some.begin(), some.end(), '-'), testing::AllOf(testing::Gt(8), testing::Lt(32)));
}

TEST(BehaviourFile, NamesWhatIsWrongWithIt) {
  const std::pair<const char*, const char*> kTexts[] = {
      {"[]", "not an object"},
      {R"({"speed": 1})", "\"speed\" is unknown"},
      {R"({"maxApdu": 100})", "\"maxApdu\" must be 50, 128, 206, 480, 1024 or 1476"},
      {R"({"deviceId": 4194303})", "\"deviceId\" must be a whole number from 0 to 4194302"},
      {R"({"cov": 1})", "\"cov\" must be true or false"},
      {R"({"segmentation": "no"})", "\"segmentation\" must be \"both\", \"transmit\", \"receive\" or \"none\""},
      {R"({"faults": {}})", "\"faults\" must be a list of rules"},
      {R"({"faults": [{"lose": true}, {"after": 1}]})", "rule 2: a rule has one fault, this one has 0"},
      {R"({"faults": [{"lose": true, "cut": 3}]})", "rule 1: a rule has one fault, this one has 2"},
      {R"({"faults": [{"lose": false}]})", "rule 1: \"lose\" must be true, or not be there"},
      {R"({"faults": [{"error": [1]}]})", "rule 1: \"error\" must be a list of two numbers, class and code"},
      {R"({"faults": [{"service": "read"}]})", "rule 1: there is no service \"read\"; one is \"read-property\""},
  };
  for (const auto& [text, expected] : kTexts) {
    Behaviour behaviour;
    std::string error;
    EXPECT_FALSE(device::readBehaviour(text, behaviour, error)) << text;
    EXPECT_EQ(error, expected);
  }
  Behaviour behaviour;
  std::string error;
  EXPECT_FALSE(device::readBehaviour("{\n\"cov\": tru}", behaviour, error));
  EXPECT_THAT(error, testing::HasSubstr("line 2"));
}

}  // namespace
