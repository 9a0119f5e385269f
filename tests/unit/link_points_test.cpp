#include <gtest/gtest.h>

#include <mutex>
#include <stdexcept>

#include "driver/bacnet_link.h"
#include "support/bus_peer.h"
#include "support/temp_dir.h"

namespace {

using driver::CBACnetLink;
using support::BusPeer;
using support::messageFrame;
using support::PeerAnswer;
using support::PeerRequest;
using Strings = std::vector<std::string>;
using Words = std::vector<short>;

driver::PointAccess point(std::int32_t regId, std::int32_t dataSize) {
  return {regId, dataSize};
}

/// A link whose helper answers every request with the same elements.
class LinkPoints : public testing::Test {
 protected:
  LinkPoints() { link.client.setSocketPath(peer.path()); }

  Strings lastRequest() const { return peer.requests().back().elements; }

  /// What the helper answers from now on.
  void answer(const Strings& elements) {
    const std::lock_guard lock(mutex);
    reply = elements;
  }

  const support::TempDir dir;
  std::mutex mutex;  // the reply is read on the peer's thread
  Strings reply = {"x", "0"};
  BusPeer peer{dir.file("bus.sock"), [this](const PeerRequest& request) {
                 const std::lock_guard lock(mutex);
                 return PeerAnswer(messageFrame(reply, request.frame.identifier));
               }};
  CBACnetLink link;
};

TEST_F(LinkPoints, RequestsAreWrittenElementByElement) {
  Words words;
  link.readPoint(point(7, 4), words);
  EXPECT_EQ(lastRequest(), (Strings{"func@bac_read", "7", "4"}));
  link.readPoint(point(-1, -2), words);
  EXPECT_EQ(lastRequest(), (Strings{"func@bac_read", "4294967295", "4294967294"}));

  link.writePoint(point(7, 4), {16384, 0, -1, -32768});
  EXPECT_EQ(lastRequest(), (Strings{"func@bac_write", "7", "4", "16384", "0", "-1", "-32768"}));
  link.writePoint(point(7, 4), {});
  EXPECT_EQ(lastRequest(), (Strings{"func@bac_write", "7", "4"}));

  link.readPoints({point(7, 4), point(9, 2)}, {&words, &words});
  EXPECT_EQ(lastRequest(), (Strings{"func@bac_multi_read", "2", "7", "4", "9", "2"}));
  link.readPoints({}, {});
  EXPECT_EQ(lastRequest(), (Strings{"func@bac_multi_read", "0"}));

  Words first = {12, -3, 0};
  Words none;
  link.writePoints({point(7, 4), point(9, 2)}, {&first, &none});
  EXPECT_EQ(lastRequest(), (Strings{"func@bac_multi_write", "2", "7", "4", "12,-3,0", "9", "2", "0"}));
  link.writePoints({}, {});
  EXPECT_EQ(lastRequest(), (Strings{"func@bac_multi_write", "0"}));
}

TEST_F(LinkPoints, RepliesOfSingleReads) {
  const struct {
    Strings reply;
    std::int32_t code;
    Words words;
  } cases[] = {
      {{"x", "0"}, 0, {}},
      {{"x", "5", "1,2"}, 5, {}},
      {{"x", "-7"}, -7, {}},
      {{"x", " +0rest", "1"}, 0, {1}},
      {{"x", "0", "1,,2,"}, 0, {1, 2}},
      {{"x", "0", ""}, 0, {}},
      {{"x", "0", ",,"}, 0, {}},
      {{"x", "0", "65535,65536,70000,-1,-32769"}, 0, {-1, 0, 4464, -1, 32767}},
      {{"x", "0", " 12kg,3.9", "99"}, 0, {12, 3}},
      {{"0"}, -1, {}},
  };
  for (const auto& example : cases) {
    answer(example.reply);
    Words words = {42};
    Words expected = example.words;
    expected.insert(expected.begin(), 42);
    EXPECT_EQ(link.readPoint(point(7, 4), words), example.code) << reply.back();
    EXPECT_EQ(words, expected) << reply.back();
    EXPECT_EQ(link.writePoint(point(7, 4), {1}), example.code) << reply.back();
  }
}

TEST_F(LinkPoints, RepliesThatAreNoNumbersThrowAndKeepWhatCameBefore) {
  Words words;
  for (const char* code : {"", "x", "-"}) {
    answer({"x", code});
    EXPECT_THROW(link.readPoint(point(7, 4), words), std::invalid_argument) << code;
    EXPECT_THROW(link.writePoint(point(7, 4), words), std::invalid_argument) << code;
    EXPECT_THROW(link.sendProjectConfig(), std::invalid_argument) << code;
    EXPECT_THROW(link.connectLink(), std::invalid_argument) << code;
  }
  answer({"x", "2147483648"});
  EXPECT_THROW(link.readPoint(point(7, 4), words), std::out_of_range);

  answer({"x", "0", "1,2,x,4"});
  EXPECT_THROW(link.readPoint(point(7, 4), words), std::invalid_argument);
  EXPECT_EQ(words, (Words{1, 2}));
  Words other;
  answer({"x", "0", "3", "4,99999999999"});
  EXPECT_THROW(link.readPoints({point(7, 4), point(9, 4)}, {&words, &other}), std::out_of_range);
  EXPECT_EQ(words, (Words{1, 2, 3}));
  EXPECT_EQ(other, Words{4});

  answer({"x", "0", "6"});  // no lock is left behind
  EXPECT_EQ(link.readPoint(point(7, 4), other), 0);
}

TEST_F(LinkPoints, ABatchReplyAndItsPointsNeedNotBeOfOneLength) {
  Words first, second, third;
  const std::vector<driver::PointAccess> records = {point(1, 4), point(2, 4), point(3, 4)};
  answer({"x", "0", "1,2", "3"});
  EXPECT_EQ(link.readPoints(records, {&first, &second, &third}), 0);
  EXPECT_EQ(first, (Words{1, 2}));
  EXPECT_EQ(second, Words{3});
  EXPECT_TRUE(third.empty());

  answer({"x", "0", "1", "2", "3", "4", "5"});
  EXPECT_EQ(link.readPoints(records, {&first, &second, &third}), 0);
  EXPECT_EQ(third, Words{3});
  answer({"x", "9", "1", "2"});
  EXPECT_EQ(link.readPoints(records, {&first, &second, &third}), 9);
  EXPECT_EQ(third, Words{3});
}

TEST_F(LinkPoints, ConnectAndHandOff) {
  link.linkId = -3;
  link.configPath = "/project/";
  answer({"x", "4"});
  testing::internal::CaptureStdout();
  EXPECT_EQ(link.sendProjectConfig(), 4);
  const std::string output = testing::internal::GetCapturedStdout();
  EXPECT_NE(output.find("[LOGIC ] Sending XML config to server: /project/BACnetLabel.xml\n"), std::string::npos);
  EXPECT_EQ(lastRequest(), (Strings{"func@bac_load_xml", "/project/BACnetLabel.xml", "-3"}));
  answer({"x"});
  EXPECT_EQ(link.sendProjectConfig(), -99);

  answer({"x", "0"});
  EXPECT_EQ(link.connectLink(), 0);
  EXPECT_TRUE(link.connected);
  EXPECT_EQ(lastRequest(), Strings{"func@bac_connect"});
  answer({"x"});
  EXPECT_EQ(link.connectLink(), -1);
  EXPECT_TRUE(link.connected);  // kept: no code came
  answer({"x", "5"});
  EXPECT_EQ(link.connectLink(), 5);
  EXPECT_FALSE(link.connected);
}

}  // namespace
