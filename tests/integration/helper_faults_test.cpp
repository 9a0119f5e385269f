#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>

#include "support/prepared_driver.h"

namespace {

using support::ConnectedDriver;
using support::HelperProject;
using support::LoadedDriver;
using support::symbolXml;
using support::Words;
using Clock = std::chrono::steady_clock;

const std::string kTwoPoints = symbolXml(1, "Temp", "REAL") + symbolXml(2, "Flow", "REAL");
constexpr auto kReplyWait = std::chrono::milliseconds(3000);
constexpr auto kAllReplyWaits = 3 * kReplyWait + std::chrono::milliseconds(2000);  // with room for a busy machine

std::string rules(const std::string& list) {
  return "[" + list + "]";
}

// What one fault in a read's reply comes to: the read's result, and whether the reads after a new connect are well.
struct ReadFault {
  const char* rule;
  std::int32_t result;
  bool recovers;
};

class ReadFaults : public testing::TestWithParam<ReadFault> {};

TEST_P(ReadFaults, GivesItsCodeWithinTheWaitsAndNeverAWrongValue) {
  const ReadFault& fault = GetParam();
  ConnectedDriver plant(kTwoPoints,
                        rules("{\"function\":\"bac_read\",\"after\":1,\"times\":1," + std::string(fault.rule) + "}"));
  ASSERT_EQ(plant.write(1, {16384, 0}), 0);
  const Words written = {16384, 0};
  Words words;
  ASSERT_EQ(plant.read(1, words), 0);
  ASSERT_EQ(words, written);

  words.clear();
  const auto start = Clock::now();
  EXPECT_EQ(plant.read(1, words), fault.result);
  EXPECT_LT(Clock::now() - start, kAllReplyWaits);
  EXPECT_EQ(words, fault.result == 0 ? written : Words{});
  EXPECT_EQ(plant.driver->getConnectState(), fault.result < 0 ? -1 : 0);

  if (fault.recovers) {
    EXPECT_TRUE(support::waitUntil([&] { return plant.driver->connect() == 0; }));  // a dying helper may still accept
  } else {
    // The damaged bytes stay in the client: only another driver object helps.
    EXPECT_NE(plant.driver->connect(), 0);
    plant.driver.replace();
    EXPECT_EQ(plant.driver->init(plant.project.config()), 0);
    EXPECT_EQ(plant.driver->connect(), 0);
  }
  ASSERT_EQ(plant.write(1, written), 0);  // a helper that was restarted has forgotten it
  words.clear();
  EXPECT_EQ(plant.read(1, words), 0);
  EXPECT_EQ(words, written);
}

INSTANTIATE_TEST_SUITE_P(
    Reply, ReadFaults,
    testing::Values(ReadFault{"\"delayMs\":400", 0, true}, ReadFault{"\"silence\":true", -1, true},
                    ReadFault{"\"close\":true", -1, true}, ReadFault{"\"exit\":3", -1, true},
                    ReadFault{"\"hang\":true", -1, true}, ReadFault{"\"kill\":\"before\"", -1, true},
                    ReadFault{"\"kill\":\"after\"", 0, true}, ReadFault{"\"garbage\":\"noise\"", 0, true},
                    ReadFault{"\"badChecksum\":true", -1, false}, ReadFault{"\"half\":true", -1, false},
                    ReadFault{"\"pieces\":40", 0, true}, ReadFault{"\"foreignType\":2", 0, true},
                    ReadFault{"\"code\":9", 9, true}, ReadFault{"\"code\":-9", -9, true}));

TEST(HelperFaults, AValueThatIsNoNumberThrowsAndLeavesNoLockBehind) {
  ConnectedDriver plant(kTwoPoints, rules(R"({"function":"bac_read","times":1,"value":"12,x"})"));
  Words words;
  EXPECT_THROW(plant.read(1, words), std::invalid_argument);
  EXPECT_EQ(words, Words{12});
  EXPECT_EQ(plant.driver->getConnectState(), 0);
  words.clear();
  EXPECT_EQ(plant.read(1, words), 0);
  EXPECT_EQ(plant.driver->disconnect(), 0);
}

TEST(HelperFaults, AHelperThatAcceptsButDoesNotAnswerIsAskedAgainAndNotKilled) {
  ConnectedDriver plant(kTwoPoints);
  const pid_t running = plant.project.helperPid();
  plant.project.dir.write("simulator.json", rules(R"({"function":"bac_connect","times":1,"silence":true})"));
  ASSERT_EQ(plant.driver->init(plant.project.config()), 0);  // hands the fault over
  const std::size_t handOffs = plant.project.calls("bac_load_xml");

  EXPECT_EQ(plant.driver->connect(), 0);
  EXPECT_EQ(plant.project.helperPid(), running);
  EXPECT_EQ(plant.project.calls("bac_load_xml"), handOffs + 1);
}

TEST(HelperFaults, ConnectAndHandOffPassTheHelpersCodesOn) {
  const struct {
    const char* rule;
    std::int32_t init;
    std::int32_t connect;
  } cases[] = {
      {R"({"function":"bac_load_xml","code":31})", 31, 0},
      {R"({"function":"bac_load_xml","code":-31})", -31, 0},
      {R"({"function":"bac_load_xml","silence":true})", -99, 0},
      {R"({"function":"bac_connect","code":5})", 0, 5},
      {R"({"function":"bac_connect","code":-5})", 0, -5},
      {R"({"function":"bac_connect","close":true})", 0, -1},
      {R"({"function":"bac_connect","times":1,"close":true},{"function":"bac_load_xml","after":1,"code":7})", 0, -1},
  };
  for (const auto& example : cases) {
    const HelperProject project;
    project.writeProject(kTwoPoints);
    project.dir.write("simulator.json", rules(example.rule));
    LoadedDriver driver;
    testing::internal::CaptureStdout();
    EXPECT_EQ(driver->init(project.config()), example.init) << example.rule;
    const std::string message = "Error: parse xml failed with error code " + std::to_string(example.init) + " \n";
    EXPECT_EQ(testing::internal::GetCapturedStdout().find(message) != std::string::npos, example.init != 0);
    if (example.init != 0) continue;
    EXPECT_EQ(driver->connect(), example.connect) << example.rule;
    EXPECT_EQ(driver->getConnectState(), example.connect) << example.rule;
  }
}

TEST(HelperFaults, OneRefusedPointRefusesItsBatch) {
  ConnectedDriver plant(kTwoPoints, rules(R"({"function":"bac_multi_read","regId":2,"code":5})"));
  driver::Batch batch = support::batchOf(*plant.driver, {{1, {}}, {2, {}}});
  EXPECT_EQ(plant.driver->readRegisters(batch), 5);
  for (const driver::BatchItem& item : batch) EXPECT_TRUE(item.words.empty());
  EXPECT_EQ(plant.driver->getConnectState(), 0);  // a positive code is the helper's answer, not a lost link
}

}  // namespace
