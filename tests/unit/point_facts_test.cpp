#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <future>

#include "bacnet/number/names.h"
#include "bacnet/number/properties.h"
#include "bacnet/server/server.h"
#include "bacnet/server/standard_object.h"
#include "host/tool/network/point_facts.h"
#include "io/address.h"
#include "io/event_loop.h"
#include "io/udp_datagrams.h"

namespace {

namespace property = bacnet::property;
using namespace std::chrono_literals;
using tool::PointFacts;

plant::Point point(std::int32_t type, std::int32_t propId, const char* dataType, std::int32_t arrayIndex = -1) {
  plant::Point made;
  made.objectType = type;
  made.instance = 1;
  made.propId = propId;
  made.arrayIndex = arrayIndex;
  plant::setDataType(made, dataType);
  return made;
}

bacnet::server::Identity identity() {
  bacnet::server::Identity identity;
  identity.instance = 1234;
  identity.name = "virtual";
  return identity;
}

// A device on a loopback port that this thread serves while another asks.
class Facts : public testing::Test {
 protected:
  Facts() {
    link_.linkId = 1;
    link_.ip = "127.0.0.1";
    link_.desPort = socket_.local().port;
    link_.deviceId = 1234;
    link_.enableReadPropm = true;
    bacnet::server::CObject* const analog = add(0, "ZN-T");
    analog->set(property::kUnits, {bacnet::Enumerated{62}});
    add(4, "FAN-C");
    add(19, "MODE");
  }

  bacnet::server::CObject* add(bacnet::ObjectType type, const char* name) {
    return device_.add(bacnet::server::makeStandardObject({type, 1}, name));
  }

  std::vector<PointFacts> ask(const std::vector<plant::Point>& points, const tool::FactsLimit& limit = {}) {
    const int ready = eventfd(0, EFD_CLOEXEC);
    EXPECT_TRUE(loop_.watch(ready, EPOLLIN, [&](auto) { loop_.stop(0); }));
    auto facts = std::async(std::launch::async, [&] {
      auto read = tool::readPointFacts(link_, points, "lo", limit, problem_);
      eventfd_write(ready, 1);
      return read;
    });
    loop_.run();
    loop_.unwatch(ready);
    close(ready);
    return facts.get();
  }

  io::CEventLoop loop_;
  io::CUdpDatagrams socket_{loop_, {{0x7F000001, 0}, true, {}}};
  bacnet::CNetwork network_{socket_, loop_};
  bacnet::server::CDevice device_{identity()};
  bacnet::server::CServer server_{network_, loop_, device_, {0x7FFFFFFF, 1}};
  plant::Link link_;
  std::string problem_;
};

TEST_F(Facts, AreWhatTheDeviceCallsThings) {
  struct Case {
    plant::Point point;
    plant::Value value;
    std::string readable;
    bool isCommandable;
  };
  const Case cases[] = {
      {point(0, 85, "REAL"), 21.5F, "21.5 °C", false},
      {point(0, 85, "STRING"), std::string("21.5"), "21.5 °C", false},
      {point(0, 45, "REAL"), 30.0F, "30 °C", false},
      {point(0, 118, "UDINT"), 7U, "7", false},
      {point(0, 117, "UDINT"), 62U, "degrees-celsius", false},
      {point(0, 111, "UDINT"), 6U, "fault, overridden", false},
      {point(0, 111, "STRING"), std::string("1000"), "in-alarm", false},
      {point(0, 111, "STRING"), std::string("0000"), "none", false},
      {point(0, 111, "BOOL"), true, "in-alarm", false},
      {point(0, 103, "UINT"), 4U, "open-loop", false},
      {point(0, 103, "UINT"), 99U, "99", false},
      {point(0, 103, "BOOL"), true, "true", false},
      {point(4, 85, "BOOL"), true, "On", true},
      {point(4, 85, "ENUMERATED"), 0U, "Off", true},
      {point(4, 87, "BOOL", 8), false, "Off", true},
      {point(4, 87, "UDINT", 0), 16U, "16", true},
      {point(4, 84, "UINT"), 1U, "reverse", true},
      {point(19, 85, "UDINT"), 2U, "Low", true},
      {point(19, 85, "BOOL"), true, "true", true},
      {point(19, 85, "UDINT"), 9U, "9", true},
      {point(19, 74, "UDINT"), 4U, "4", true},
  };
  std::vector<plant::Point> points;
  for (const Case& each : cases) points.push_back(each.point);
  points.push_back(point(2, 85, "REAL"));  // an object that the device does not have
  const auto facts = ask(points);
  EXPECT_EQ(problem_, "");
  ASSERT_EQ(facts.size(), points.size());
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const std::string where = std::to_string(cases[i].point.objectType) + ' ' + std::to_string(cases[i].point.propId);
    EXPECT_EQ(tool::readable(facts[i], cases[i].value, plant::toText(cases[i].value)), cases[i].readable) << where;
    EXPECT_EQ(facts[i].isCommandable, cases[i].isCommandable) << where;
    EXPECT_TRUE(facts[i].isFromDevice);
  }
  EXPECT_EQ(facts.front().objectName, "ZN-T");
  EXPECT_EQ(facts.front().description, "ZN-T");
  EXPECT_FALSE(facts.back().isFromDevice);
}

TEST_F(Facts, OfADeviceThatDoesNotAnswerAreThoseOfTheStandard) {
  const std::vector<plant::Point> points = {point(0, 85, "REAL"), point(0, 103, "UINT"), point(4, 85, "BOOL")};
  socket_.onReceive([](const auto&, auto) {});
  const auto start = std::chrono::steady_clock::now();
  const auto facts = ask(points, {10s, [&] { return std::chrono::steady_clock::now() > start + 200ms; }});
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2s) << "it was stopped before the first silence";
  EXPECT_NE(problem_, "");
  EXPECT_FALSE(facts[0].isFromDevice);
  EXPECT_EQ(tool::readable(facts[0], 21.5F, "21.5"), "21.5");
  EXPECT_EQ(tool::wordsOf(facts[1], 4U), "open-loop");
  EXPECT_EQ(tool::wordsOf(facts[2], true), "active");

  link_.virtualMac = "nonsense";
  link_.network = 5;
  EXPECT_EQ(ask(points).size(), points.size()) << "a link that cannot be asked";
  EXPECT_NE(problem_, "");
}

}  // namespace
