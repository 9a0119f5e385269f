#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <deque>
#include <random>
#include <thread>

#include "reliability/report.h"
#include "support/prepared_driver.h"
#include "support/process_state.h"

namespace {

using support::ConnectedDriver;
using support::HelperProject;
using support::LoadedDriver;
using support::symbolXml;
using support::waitUntil;
using support::Words;
using Clock = std::chrono::steady_clock;

constexpr long kMostGrowthKiB = 1024;
// The helper's log is as in a building: with a line for each request it would be the disk that is tried.
[[maybe_unused]] const bool kIsQuiet = setenv("BACNET_VELIX_TRACE", "0", 1) == 0;
const std::string kTwoPoints = symbolXml(1, "Temp", "REAL") + symbolXml(2, "Flow", "REAL");

/// What this process holds; taken after the warm-up and compared at the end.
class Holdings {
 public:
  /// `threads`: what the process had before the test. A thread that was joined may be there for a moment longer.
  explicit Holdings(std::size_t threads) : threads_(threads) {}

  void expectUnchanged(const std::string& table, const std::string& key, const std::string& run) const {
    const long growth = support::residentKiB() - resident_;
    EXPECT_EQ(support::descriptorCount(), descriptors_);
    EXPECT_TRUE(waitUntil([this] { return support::threadCount() == threads_; }));
    EXPECT_LE(growth, kMostGrowthKiB);
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start_).count();
    support::reportRow(table, key,
                       {run, std::to_string(took) + " ms", std::to_string(descriptors_), std::to_string(threads_),
                        std::to_string(resident_) + " KiB", std::to_string(growth) + " KiB"});
  }

 private:
  Clock::time_point start_ = Clock::now();
  std::size_t descriptors_ = support::descriptorCount();
  std::size_t threads_;
  long resident_ = support::residentKiB();
};

TEST(Endurance, AMillionReadsLeaveNothingBehind) {
  const std::size_t ownThreads = support::threadCount();
  constexpr int kReads = 1000000;
  constexpr int kWarmUp = 50000;
  ConnectedDriver plant(kTwoPoints);
  const Words values[] = {{16384, 0}, {-1, 7}};
  CRegister registers[] = {support::preparedRegister(*plant.driver, 1), support::preparedRegister(*plant.driver, 2)};
  for (int i = 0; i < 2; ++i) ASSERT_EQ(plant.driver->writeRegister(registers[i], values[i]), 0);

  Words words;
  const auto readSome = [&](int count) {
    for (int i = 0; i < count; ++i) {
      words.clear();
      ASSERT_EQ(plant.driver->readRegister(registers[i % 2], words), 0) << i;
      ASSERT_EQ(words, values[i % 2]) << i;
    }
  };
  readSome(kWarmUp);
  const std::string helper = std::to_string(plant.project.helperPid());
  const long helperBefore = support::residentKiB(helper);
  const Holdings holdings(ownThreads);
  readSome(kReads);
  EXPECT_LE(support::residentKiB(helper), helperBefore + kMostGrowthKiB);
  holdings.expectUnchanged("long_runs", "1", "1,000,000 reads");
}

TEST(Endurance, AThousandLivesOfTheLibraryLeaveNothingBehind) {
  const std::size_t ownThreads = support::threadCount();
  constexpr int kLives = 1000;
  constexpr int kWarmUp = 50;
  const HelperProject project;
  project.writeProject(kTwoPoints);
  const auto live = [&](int times) {
    for (int i = 0; i < times; ++i) {
      LoadedDriver driver;
      ASSERT_EQ(driver->init(project.config()), 0);
      ASSERT_EQ(driver->connect(), 0);
      CRegister reg = support::preparedRegister(*driver, 2);
      const Words written = {-1, static_cast<short>(i)};
      Words words;
      ASSERT_EQ(driver->writeRegister(reg, written), 0);
      ASSERT_EQ(driver->readRegister(reg, words), 0);
      ASSERT_EQ(words, written);
    }
  };
  testing::internal::CaptureStdout();
  live(kWarmUp);
  const Holdings holdings(ownThreads);
  live(kLives);
  holdings.expectUnchanged("long_runs", "2", "1,000 times load, create, connect, read, destroy, unload");
  testing::internal::GetCapturedStdout();
}

/// One link whose helper is killed again and again.
class KilledLink {
 public:
  KilledLink() : plant_(kTwoPoints) {}

  void surviveKills(int kills, unsigned seed) {
    std::minstd_rand random(seed);
    for (int i = 0; i < kills; ++i) {
      const Words values[] = {{static_cast<short>(i), static_cast<short>(seed)}, {static_cast<short>(~i), 1}};
      for (int point = 0; point < 2; ++point) ASSERT_EQ(plant_.write(point + 1, values[point]), 0) << i;
      const pid_t helper = plant_.project.helperPid();
      ASSERT_GT(helper, 0);
      if (i % 2 == 1) readWhileKilled(helper, values, std::chrono::microseconds(random() % 500));
      plant_.project.killHelper();
      Words words;
      ASSERT_EQ(plant_.read(1, words), -1) << i;
      ASSERT_TRUE(words.empty());
      recover();
    }
  }

  int wrongValues() const { return wrongValues_; }
  int replacements() const { return replacements_; }
  void endHelper() const { plant_.project.killHelper(); }

 private:
  void readWhileKilled(pid_t helper, const Words* values, std::chrono::microseconds after) {
    std::thread killer([helper, after] {
      std::this_thread::sleep_for(after);
      kill(helper, SIGKILL);
    });
    for (int point = 0;; point = 1 - point) {
      Words words;
      const std::int32_t code = plant_.read(point + 1, words);
      if (code == 0 ? words != values[point] : !words.empty()) ++wrongValues_;
      if (code != 0) break;
    }
    killer.join();
  }

  // A reply that the kill cut leaves its half in the client: then only another driver object connects.
  void recover() {
    if (plant_.driver->connect() == 0) return;
    ++replacements_;
    plant_.driver.replace();
    ASSERT_EQ(plant_.driver->init(plant_.project.config()), 0);
    ASSERT_EQ(plant_.driver->connect(), 0);
  }

  ConnectedDriver plant_;
  int wrongValues_ = 0;
  int replacements_ = 0;
};

TEST(Endurance, AThousandKilledHelpersLeaveNothingBehind) {
  const std::size_t ownThreads = support::threadCount();
  constexpr int kLinks = 4;
  constexpr int kKillsOfEach = 250;
  constexpr int kWarmUp = 10;
  ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);  // stands in for the system's init process
  testing::internal::CaptureStdout();              // a line for every start
  std::deque<KilledLink> links(kLinks);
  const auto killEach = [&](int kills) {
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kLinks; ++i) threads.emplace_back([&, i] { links[i].surviveKills(kills, i + 1); });
    for (std::thread& thread : threads) thread.join();
  };
  killEach(kWarmUp);
  const Holdings holdings(ownThreads);
  killEach(kKillsOfEach);

  int wrongValues = 0;
  int replacements = 0;
  for (const KilledLink& link : links) {
    wrongValues += link.wrongValues();
    replacements += link.replacements();
  }
  EXPECT_EQ(wrongValues, 0);
  holdings.expectUnchanged("long_runs", "3",
                           "1,000 kills on 4 links, " + std::to_string(replacements) + " driver objects replaced");
  for (const KilledLink& link : links) link.endHelper();
  testing::internal::GetCapturedStdout();
  int orphans = 0;
  while (waitpid(-1, nullptr, 0) > 0) ++orphans;
  EXPECT_EQ(orphans, kLinks * (1 + kWarmUp + kKillsOfEach)) << "the driver leaves its helpers, and no other child";
}

}  // namespace
