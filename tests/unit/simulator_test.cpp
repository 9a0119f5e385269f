#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <fstream>

#include "cbl/net/descriptor.h"
#include "helper/process/file_lock.h"
#include "helper/process/helper_log.h"
#include "helper/process/runtime_files.h"
#include "simulator/fault_script.h"
#include "support/temp_dir.h"

namespace {

using simulator::FaultRule;
using testing::HasSubstr;

TEST(FaultRules, WhatIsWrongIsNamedWithItsRule) {
  const struct {
    const char* text;
    const char* error;
  } cases[] = {
      {"{", "line 1"},
      {"{}", "not a list"},
      {"[1]", "rule 1: a rule must be an object"},
      {R"([{"function":"*","close":true},{"close":true}])", "rule 2: \"function\" is missing"},
      {R"([{"function":"bac_fly","close":true}])", "there is no function \"bac_fly\""},
      {R"([{"function":"*"}])", "this one has 0"},
      {R"([{"function":"*","close":true,"hang":true}])", "this one has 2"},
      {R"([{"function":"*","close":1}])", "\"close\" must be true"},
      {R"([{"function":"*","delayMs":3600001}])", "from 0 to 3600000"},
      {R"([{"function":"*","delayMs":1.0}])", "must be a whole number"},
      {R"([{"function":"*","code":18446744073709551615}])", "must be a whole number"},
      {R"([{"function":"*","times":0,"close":true}])", "\"times\" must be"},
      {R"([{"function":"*","regId":-1,"close":true}])", "\"regId\" must be"},
      {R"([{"function":"*","garbage":"0xf"}])", "pairs of hexadecimal digits"},
      {R"([{"function":"*","kill":"later"}])", "\"before\" or \"after\""},
      {R"([{"function":"*","value":3}])", "\"value\" must be a text"},
      {R"([{"function":"*","colour":"red","close":true}])", "\"colour\" is unknown"},
  };
  for (const auto& each : cases) {
    std::vector<FaultRule> rules(1);
    std::string error;
    EXPECT_FALSE(simulator::readFaultRules(each.text, rules, error)) << each.text;
    EXPECT_THAT(error, HasSubstr(each.error)) << each.text;
    EXPECT_EQ(rules.size(), 1U) << "touched";
  }
}

TEST(FaultScript, CountsItsCallsAndKeepsCountingOverTheSameText) {
  const support::TempDir dir;
  const std::string text = R"([{"function":"bac_read","regId":7,"after":1,"times":2,"garbage":"0x00ff"},
                               {"function":"*","after":4,"close":true}])";
  dir.write("simulator.json", text);
  simulator::CFaultScript script;
  std::string error;
  const auto load = [&] { return script.load(dir.path().string(), error); };
  ASSERT_TRUE(load()) << error;

  helper::Request read;
  read.function = "func@bac_read";
  read.points = {{3, 4, {}}, {7, 4, {}}};
  helper::Request other = read;
  other.points.pop_back();
  const auto next = [&](const helper::Request& request) {
    const FaultRule* const rule = script.next(request);
    return rule == nullptr ? "" : rule->fault.name + rule->fault.text;
  };
  const std::string garbage("garbage\0\xff", 9);
  EXPECT_EQ(next(read), "");
  EXPECT_EQ(next(other), "");
  EXPECT_EQ(next(read), garbage);
  ASSERT_TRUE(load());
  EXPECT_EQ(next(read), garbage);
  EXPECT_EQ(next(read), "close");  // the first is used up; the second has counted all along

  dir.write("simulator.json", "[");
  EXPECT_FALSE(load());
  EXPECT_EQ(next(other), "close");
  std::filesystem::remove(dir.file("simulator.json"));
  EXPECT_TRUE(load() && script.isEmpty());
}

struct RuntimeFiles : testing::Test {
  const std::int32_t link = 900000000 + static_cast<std::int32_t>(getpid());
  std::string error;
  std::string file(const std::string& ending) const {
    return "/tmp/velix_bacnet/link_" + std::to_string(link) + ending;
  }
};

TEST_F(RuntimeFiles, OneHelperHasALinkAndLeavesNothingBehind) {
  std::filesystem::create_directories("/tmp/velix_bacnet");
  std::ofstream(file(".sock")) << "stale";
  std::ofstream(file(".pid")) << "1";
  {
    helper::CRuntimeFiles files(link);
    ASSERT_TRUE(files.claim(error)) << error;
    EXPECT_EQ(support::readFile(file(".pid")), std::to_string(getpid()));
    helper::CRuntimeFiles second(link);
    EXPECT_FALSE(second.claim(error));
    EXPECT_THAT(error, HasSubstr("served by another helper"));
    EXPECT_TRUE(std::filesystem::exists(file(".sock")));
  }
  std::filesystem::create_directories(file(".sock") + "/x");  // a rename onto it fails, the last step of a claim
  EXPECT_FALSE(helper::CRuntimeFiles(link).claim(error));
  std::filesystem::remove_all(file(".sock"));
  for (const auto& entry : std::filesystem::directory_iterator("/tmp/velix_bacnet")) {
    EXPECT_EQ(entry.path().string().find(file("")), std::string::npos) << entry.path();
  }
}

TEST(FileLock, IsWaitedForWithinALimitAndGoesWithItsOwner) {
  const support::TempDir dir;
  std::string error;
  const auto wait = std::chrono::milliseconds(30);
  {
    const helper::CFileLock first(dir.file("lock"), wait, error);
    EXPECT_TRUE(first.isHeld());
    EXPECT_EQ(std::filesystem::status(dir.file("lock")).permissions(), std::filesystem::perms(0600));
    const helper::CFileLock second(dir.file("lock"), wait, error);
    EXPECT_FALSE(second.isHeld());
    EXPECT_THAT(error, HasSubstr("held by another process"));
  }
  EXPECT_FALSE(std::filesystem::exists(dir.file("lock")));
  EXPECT_FALSE(helper::CFileLock(dir.file("no/lock"), wait, error).isHeld());
}

TEST(HelperLog, IsSetAsideWhenItIsFullAndShowsForeignBytes) {
  const support::TempDir dir;
  dir.write("log", std::string(std::size_t{8} << 20, '.'));
  dir.write("log.old", "older");
  const cbl::CDescriptor removals(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  ASSERT_GE(inotify_add_watch(removals.number(), dir.path().c_str(), IN_DELETE), 0);
  helper::CHelperLog log;
  std::string error;
  ASSERT_TRUE(log.open(dir.file("log"), error)) << error;
  log.write("a{}", std::string("\n\xe4\0", 3));
  EXPECT_EQ(std::filesystem::file_size(dir.file("log.old")), std::size_t{8} << 20);
  std::array<char, 4096> events;
  EXPECT_GT(read(removals.number(), events.data(), events.size()), 0)
      << "a rename over another file waits for the disk";
  EXPECT_THAT(support::readFile(dir.file("log")), testing::EndsWith(" a\\x0a\\xe4\\x00\n"));
}

}  // namespace
