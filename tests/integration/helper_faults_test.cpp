#include <gtest/gtest.h>

#include "support/prepared_driver.h"

namespace {

using support::ConnectedDriver;
using support::HelperProject;
using support::LoadedDriver;
using support::symbolXml;
using support::Words;

const std::string kTwoPoints = symbolXml(1, "Temp", "REAL") + symbolXml(2, "Flow", "REAL");

std::string rules(const std::string& list) {
  return "[" + list + "]";
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
