#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cbl/bus/frame_layout.h"
#include "cbl/bus/velix_message.h"
#include "helper/request/request_service.h"
#include "io/fake/fake_clock.h"
#include "support/helper_project.h"

namespace {

using namespace std::chrono_literals;
using helper::Outcome;
using helper::Reading;
using helper::ResultCode;
using testing::ElementsAre;
using Texts = std::vector<std::string>;

// Answers reads and writes with what a test has put in, or keeps their callbacks.
struct ScriptedSource : helper::CPointSource {
  Outcome load(const std::shared_ptr<const plant::Link>& link, const std::string& from) override {
    loaded = link;
    directory = from;
    return loadOutcome;
  }
  void connect(io::TimePoint, helper::Done<Outcome> done) override { done(connectOutcome); }
  void read(std::vector<helper::PointRead> points, io::TimePoint until,
            helper::Done<std::vector<Reading>> done) override {
    deadline = until;
    if (isHolding) return held.push_back(std::move(done));
    readings.resize(points.size(), Reading{ResultCode::kDone, 1.5F});
    done(readings);
  }
  void write(std::vector<helper::PointWrite> points, io::TimePoint, helper::Done<std::vector<Outcome>> done) override {
    outcomes.resize(points.size());
    written = std::move(points);
    done(outcomes);
  }
  bool strictBatches() const override { return isStrict; }

  bool isStrict = false;
  bool isHolding = false;
  Outcome loadOutcome, connectOutcome;
  std::vector<Reading> readings;
  std::vector<Outcome> outcomes;
  std::weak_ptr<const plant::Link> loaded;
  std::string directory;
  io::TimePoint deadline;
  std::vector<helper::PointWrite> written;
  std::vector<helper::Done<std::vector<Reading>>> held;
};

struct Requests : testing::Test, helper::CReplyTarget {
  Requests() {
    std::string symbols = support::symbolXml(9, "Text", "STRING");
    for (int regId = 1; regId <= 4; ++regId) symbols += support::symbolXml(regId, "Temp", "REAL");
    symbols += support::symbolXml(5, "Fan", "BOOL");
    dir.write("BACnetLabel.xml",
              "<ProjectInfo><BACnet LinkID=\"3\"/><Symbols LinkID=\"3\">" + symbols + "</Symbols></ProjectInfo>");
    std::string error;
    EXPECT_TRUE(log.open(dir.file("log"), error)) << error;
  }

  void take(std::uint64_t, helper::Delivery delivery) override { frame = delivery.at(0).bytes; }

  // The reply's elements but for the function's name; none when there has been no reply yet.
  Texts ask(const Texts& elements) {
    cbl::CVelixMessage message;
    message.assign(elements.begin(), elements.end());
    cbl::BusFrameInfo info;
    info.identifier = 0x80000001;
    message.dump(info.body);
    return askBody(info);
  }
  Texts askBody(const cbl::BusFrameInfo& info) {
    frame.clear();
    const std::shared_ptr<CReplyTarget> self(this, [](CReplyTarget*) {});
    service.onFrame(info, helper::CReplySlot(self, 0, info));
    return reply();
  }
  Texts reply() const {
    if (frame.empty()) return {};
    cbl::BusFrameInfo info;
    cbl::CVelixMessage message;
    EXPECT_GT(cbl::CBusProtocol().unpack(frame.data(), static_cast<std::int32_t>(frame.size()), info), 0);
    EXPECT_LE(frame.size(), cbl::frame::kLongestReply);
    EXPECT_GT(message.load(info.body), 1);
    return Texts(message.begin() + 1, message.end());
  }
  void loadAndConnect() {
    ASSERT_THAT(ask({"func@bac_load_xml", dir.file("BACnetLabel.xml"), "3"}), ElementsAre("0"));
    ASSERT_THAT(ask({"func@bac_connect"}), ElementsAre("0"));
  }

  const support::TempDir dir;
  io::CFakeClock clock;
  helper::CHelperLog log;
  ScriptedSource source;
  helper::CRequestService service{source, clock, log};
  std::string frame;
};

TEST_F(Requests, EveryRefusalHasItsCodeInTheOrderOfTheChecks) {
  EXPECT_THAT(ask({"func@bac_read", "99", "4"}), ElementsAre("3"));
  EXPECT_THAT(ask({"func@bac_connect"}), ElementsAre("3"));
  EXPECT_THAT(ask({"func@bac_load_xml", dir.file("no.xml"), "3"}), ElementsAre("4"));
  source.loadOutcome.code = ResultCode::kConfiguration;
  EXPECT_THAT(ask({"func@bac_load_xml", dir.file("BACnetLabel.xml"), "3"}), ElementsAre("24"));
  EXPECT_THAT(ask({"func@bac_connect"}), ElementsAre("3"));
  source.loadOutcome.code = ResultCode::kDone;
  EXPECT_THAT(ask({"func@bac_load_xml", dir.file("BACnetLabel.xml"), "3"}), ElementsAre("0"));
  EXPECT_EQ(source.directory, dir.path().string());
  EXPECT_THAT(ask({"func@bac_read", "99", "4"}), ElementsAre("7"));
  source.connectOutcome.code = ResultCode::kLocalNetwork;
  EXPECT_THAT(ask({"func@bac_connect"}), ElementsAre("26"));
  EXPECT_THAT(ask({"func@bac_read", "1", "4"}), ElementsAre("7"));
  source.connectOutcome.code = ResultCode::kDone;
  EXPECT_THAT(ask({"func@bac_connect"}), ElementsAre("0"));

  const struct {
    Texts request;
    const char* code;
  } cases[] = {
      {{"func@bac_rea", "1", "4"}, "1"},
      {{"", "1", "4"}, "1"},
      {{std::string(1000000, 'f') + "\x01"}, "1"},
      {{"func@bac_read", "1"}, "2"},
      {{"func@bac_read", "1", "4", "0"}, "2"},
      {{"func@bac_read", "-1", "4"}, "2"},
      {{"func@bac_read", "1", "4x"}, "2"},
      {{"func@bac_connect", ""}, "2"},
      {{"func@bac_load_xml", "x"}, "2"},
      {{"func@bac_write", "1", "4", "32768", "0"}, "2"},
      {{"func@bac_multi_read", "2", "1", "4"}, "2"},
      {{"func@bac_multi_read", "4097"}, "2"},
      {{"func@bac_multi_write", "1", "1", "4", "1,,2"}, "2"},
      {{"func@bac_multi_read", "2", "1", "4", "99", "4"}, "5"},
      {{"func@bac_multi_read", "2", "1", "2", "99", "4"}, "6"},
      {{"func@bac_read", "9", "514"}, "6"},
      {{"func@bac_read", "9", "3"}, "6"},
      {{"func@bac_write", "1", "4", "1"}, "8"},
      {{"func@bac_write", "5", "1", "2"}, "8"},
      {{"func@bac_write", "9", "4"}, "8"},
      {{"func@bac_multi_write", "2", "1", "4", "0", "99", "4", "0"}, "8"},
      {{"func@bac_multi_write", "0"}, "0"},
      {{"func@bac_multi_read", "0"}, "0"},
  };
  for (const auto& each : cases)
    EXPECT_THAT(ask(each.request), ElementsAre(each.code)) << each.request[0].substr(0, 20);
  cbl::BusFrameInfo noMessage;
  noMessage.body = "*1";
  EXPECT_THAT(askBody(noMessage), ElementsAre("2"));
  EXPECT_TRUE(source.written.empty());
}

TEST_F(Requests, ABatchIsAnsweredPerPointUnlessTheSourceIsStrict) {
  loadAndConnect();
  const Reading value{ResultCode::kDone, 2.0F};
  const Reading silent{ResultCode::kDeviceSilent, {}};
  const Reading null{ResultCode::kNull, {}};
  const struct {
    bool isStrict;
    std::vector<Reading> readings;
    Texts reply;
  } cases[] = {{false, {value, silent}, {"0", "16384,0", ""}},
               {false, {silent, value}, {"0", "", "16384,0"}},
               {false, {null, silent}, {"22"}},
               {true, {value, silent}, {"20"}},
               {true, {value, value}, {"0", "16384,0", "16384,0"}}};
  for (const auto& each : cases) {
    source.isStrict = each.isStrict;
    source.readings = each.readings;
    EXPECT_EQ(ask({"func@bac_multi_read", "2", "1", "4", "2", "4"}), each.reply);
  }
  source.outcomes = {{}, {helper::withNumber(ResultCode::kBacnetError, 40), ""}, {ResultCode::kNull, ""}};
  EXPECT_THAT(ask({"func@bac_multi_write", "3", "1", "4", "16384,0", "2", "4", "0,0", "3", "4", "0,0"}),
              ElementsAre("1040"));
  ASSERT_EQ(source.written.size(), 3U);
  EXPECT_EQ(std::get<float>(source.written[0].value), 2.0F);
  EXPECT_EQ(helper::withNumber(ResultCode::kBacnetError, 70000), static_cast<ResultCode>(1999));
}

TEST_F(Requests, AReplyThatTheDriverCannotTakeIsACode) {
  loadAndConnect();
  Texts request = {"func@bac_multi_read", "11"};
  std::uint32_t random = 1;
  for (int i = 0; i < 11; ++i) {
    std::string text(512, ' ');
    for (char& byte : text) byte = static_cast<char>((random = random * 1664525 + 1013904223) >> 24 | 1);
    source.readings.push_back({ResultCode::kDone, text});
    request.insert(request.end(), {"9", "512"});
  }
  EXPECT_THAT(ask(request), ElementsAre("28"));
  source.readings.assign(11, Reading{ResultCode::kDone, std::string(512, 'a')});  // compressed it fits
  EXPECT_EQ(ask(request).size(), 12U);
}

TEST_F(Requests, AnAccessHasItsDeadlineAndItsLinkEvenAfterAReload) {
  loadAndConnect();
  source.isHolding = true;
  EXPECT_THAT(ask({"func@bac_read", "1", "4"}), ElementsAre());
  EXPECT_EQ(source.deadline, clock.now() + 2500ms);
  const auto first = source.loaded;
  ASSERT_THAT(ask({"func@bac_load_xml", dir.file("BACnetLabel.xml"), "3"}), ElementsAre("0"));
  EXPECT_FALSE(first.expired());
  auto done = std::move(source.held.at(0));
  source.held.clear();
  done({Reading{ResultCode::kDone, 2.0F}});
  EXPECT_THAT(reply(), ElementsAre("0", "16384,0"));
  done = nullptr;
  EXPECT_TRUE(first.expired());

  EXPECT_THAT(ask({"func@bac_read", "1", "4"}), ElementsAre());
  source.held.clear();  // dropped without a word
  EXPECT_THAT(reply(), ElementsAre("20"));
}

TEST_F(Requests, ARefusalIsLoggedOnceAndRequestsOnlyWhenTraced) {
  for (int i = 0; i < 3; ++i) ask({"func@bac_load_xml", dir.file("no.xml"), "3"});
  loadAndConnect();
  const std::string refused = support::readFile(dir.file("log"));
  EXPECT_EQ(std::count(refused.begin(), refused.end(), '\n'), 1) << refused;
  EXPECT_NE(refused.find("func@bac_load_xml answered 4: "), std::string::npos);
  log.setTracing(true);
  ask({"func@bac_read", "99", "4"});
  EXPECT_NE(
      support::readFile(dir.file("log")).find("id=2147483649 func@bac_read points=1 code=5 RegId 99 is unknown\n"),
      std::string::npos);
}

}  // namespace
