#include <gtest/gtest.h>
#include <sys/wait.h>

#include <chrono>
#include <future>
#include <regex>
#include <stdexcept>
#include <thread>

#include "reliability/report.h"
#include "support/prepared_driver.h"

namespace {

using support::ConnectedDriver;
using support::symbolXml;
using support::waitUntil;
using support::Words;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// The contract's bounds, and room for a busy machine.
constexpr auto kReadBound = milliseconds(3000);
constexpr auto kConnectBound = milliseconds(3000 + 6300 + 3000 + 3000);  // call, restart, hand-off, call again
constexpr auto kBusyMachine = milliseconds(2000);

const Words kFirst = {16384, 0};
const Words kSecond = {-1, 7};

/// What breaks the second read of a point, and what mends it besides connecting and replacing the driver object.
struct Fault {
  const char* name;
  const char* rule;                               // of the helper's fault script; null for none
  void (*before)(ConnectedDriver&) = nullptr;     // right before the read
  void (*meanwhile)(ConnectedDriver&) = nullptr;  // on another thread while the read waits
  const char* mending = nullptr;                  // the last remedy
  void (*mend)(ConnectedDriver&) = nullptr;
};

struct Timed {
  std::string answer;
  milliseconds took{0};
};

template <typename Call>
Timed timed(Call call) {
  const auto start = Clock::now();
  const std::string answer = call();
  return {answer, std::chrono::duration_cast<milliseconds>(Clock::now() - start)};
}

std::string readOnce(ConnectedDriver& plant) {
  Words words;
  try {
    const std::int32_t code = plant.read(1, words);
    EXPECT_TRUE(words.empty() || (code == 0 && words == kFirst)) << "a wrong value";
    EXPECT_EQ(plant.driver->getConnectState(), code < 0 ? -1 : 0);
    return std::to_string(code);
  } catch (const std::invalid_argument&) {
    return "`std::invalid_argument`";
  }
}

bool isWell(ConnectedDriver& plant) {
  Words first;
  Words second;
  return plant.write(1, kFirst) == 0 && plant.write(2, kSecond) == 0 && plant.read(1, first) == 0 &&
         plant.read(2, second) == 0 && first == kFirst && second == kSecond;
}

bool connectsWell(ConnectedDriver& plant) {
  return plant.driver->connect() == 0 && isWell(plant);
}

// The least that brings the right values back after a first connect.
std::string remedyFor(ConnectedDriver& plant, const Fault& fault, const std::string& connected) {
  if (connected == "0" && isWell(plant)) return "the next connect";
  if (connectsWell(plant)) return "connecting again";
  if (fault.mend != nullptr) {
    fault.mend(plant);
    if (connectsWell(plant)) return fault.mending;
  }
  plant.driver.replace();
  if (plant.driver->init(plant.project.config()) == 0 && connectsWell(plant)) return "replacing the driver object";
  return "nothing";
}

// The row of the same name as docs/reliability.md has it, without the two times.
std::string documented(const std::string& name) {
  const std::string document = support::readFile(SOURCE_DIR "/docs/reliability.md");
  const std::size_t at = document.find("\n| " + name + " |");
  return at == std::string::npos ? "" : document.substr(at + 1, document.find('\n', at + 1) - at - 1);
}

std::string withoutTimes(const std::string& row) {
  return std::regex_replace(row, std::regex("[0-9]+ ms"), "");
}

pid_t processOf(const ConnectedDriver& plant) {
  return plant.project.helperPid();
}

void stopHelper(ConnectedDriver& plant) {
  EXPECT_TRUE(plant.project.signalHelper(SIGSTOP));
}

void killHelper(ConnectedDriver& plant) {
  plant.project.killHelper();
}

void killOnceAsked(ConnectedDriver& plant) {
  waitUntil([&] { return plant.project.calls("bac_read") == 2; });
  killHelper(plant);
}

void awaitEnd(ConnectedDriver& plant) {
  plant.project.awaitEnd();
}

void removeSocket(ConnectedDriver& plant) {
  std::filesystem::remove(plant.project.linkFile(".sock"));
}

void removePid(ConnectedDriver& plant) {
  std::filesystem::remove(plant.project.linkFile(".pid"));
}

void killAndNameAnother(ConnectedDriver& plant) {
  killHelper(plant);
  const pid_t other = fork();
  if (other == 0) {
    pause();
    _exit(0);
  }
  std::ofstream(plant.project.linkFile(".pid")) << other;
  std::thread([other] { waitpid(other, nullptr, 0); }).detach();  // ends when the driver kills it
}

std::string helperProgram(const ConnectedDriver& plant) {
  return plant.project.dir.file("BACnet_Velix");
}

void killAndBreakProgram(ConnectedDriver& plant) {
  killHelper(plant);
  std::filesystem::rename(helperProgram(plant), plant.project.dir.file("whole"));
  std::filesystem::permissions(plant.project.dir.write("BACnet_Velix", "#!/bin/sh\nexit 1\n"),
                               std::filesystem::perms::owner_all);
}

void mendProgram(ConnectedDriver& plant) {
  std::filesystem::rename(plant.project.dir.file("whole"), helperProgram(plant));
}

void killInAStorm(ConnectedDriver& plant) {
  for (int i = 0; i < 20; ++i) {
    killHelper(plant);
    EXPECT_TRUE(waitUntil([&] { return plant.driver->connect() == 0; }));
  }
  killHelper(plant);
}

const Fault kFaults[] = {
    {"slow: the reply comes after 400 ms", "\"delayMs\":400"},
    {"slower than the wait: after 4000 ms", "\"delayMs\":4000"},
    {"silent", "\"silence\":true"},
    {"connection closed instead of a reply", "\"close\":true"},
    {"helper ends in order instead of a reply", "\"exit\":3", nullptr, awaitEnd},
    {"helper hangs and refuses connections", "\"hang\":true"},
    {"killed before the request", nullptr, killHelper},
    {"killed while the reply is awaited", "\"delayMs\":2500", nullptr, killOnceAsked},
    {"killed instead of a reply", "\"kill\":\"before\"", nullptr, awaitEnd},
    {"killed in the reply", "\"half\":true", nullptr, killOnceAsked},
    {"killed after the reply", "\"kill\":\"after\"", nullptr, awaitEnd},
    {"killed and brought back twenty times in a row", nullptr, killInAStorm},
    {"stopped by SIGSTOP", nullptr, stopHelper, nullptr, "ending the helper, connect", killHelper},
    {"socket file gone, connection open", nullptr, removeSocket},
    {"socket file gone, connection closed", "\"close\":true", removeSocket},
    {"pid file gone, helper killed", nullptr, [](ConnectedDriver& plant) { killHelper(plant), removePid(plant); }},
    {"pid file names another process, helper killed", nullptr, killAndNameAnother},
    {"helper that exits at once", nullptr, killAndBreakProgram, nullptr, "mending the helper, connect", mendProgram},
    {"garbage before the reply", "\"garbage\":\"noise\""},
    {"reply in pieces", "\"pieces\":40"},
    {"reply in more than three pieces", "\"pieces\":20"},
    {"wrong checksum", "\"badChecksum\":true"},
    {"half a reply", "\"half\":true"},
    {"foreign message before the reply", "\"foreignType\":2"},
    {"surplus reply", "\"foreignType\":1"},
    {"helper's code 9", "\"code\":9"},
    {"helper's code -9", "\"code\":-9"},
    {"value that is no number", "\"value\":\"x\""},
};

// A helper whose files are another's by now is not ended with its project.
void endLeftOver(const ConnectedDriver& plant, pid_t helper) {
  if (helper <= 0 || helper == processOf(plant)) return;
  const std::string commandLine = support::readFile("/proc/" + std::to_string(helper) + "/cmdline");
  if (commandLine.find(plant.project.dir.project()) != std::string::npos) kill(helper, SIGKILL);
}

class Reliability : public testing::TestWithParam<std::size_t> {};

TEST_P(Reliability, IsAsTheTableSays) {
  const Fault& fault = kFaults[GetParam()];
  // The late answer to connect keeps a surplus reply apart from it.
  const std::string onConnect = R"({"function":"bac_connect","after":1,"times":1,"delayMs":200})";
  const std::string onRead = R"({"function":"bac_read","after":1,"times":1,)";
  ConnectedDriver plant(symbolXml(1, "Temp", "REAL") + symbolXml(2, "Flow", "REAL"),
                        fault.rule == nullptr ? "" : "[" + onConnect + "," + onRead + fault.rule + "}]");
  ASSERT_EQ(plant.write(1, kFirst), 0);
  ASSERT_EQ(readOnce(plant), "0");
  const pid_t original = processOf(plant);
  ASSERT_GT(original, 0);

  if (fault.before != nullptr) fault.before(plant);
  std::future<void> other;
  if (fault.meanwhile != nullptr) other = std::async(std::launch::async, [&] { fault.meanwhile(plant); });
  const Timed read = timed([&] { return readOnce(plant); });
  if (other.valid()) other.wait();
  EXPECT_LT(read.took, kReadBound + kBusyMachine);

  std::filesystem::remove(plant.project.dir.file("simulator.json"));  // a restarted helper is sound
  const Timed connect = timed([&] { return std::to_string(plant.driver->connect()); });
  EXPECT_LT(connect.took, kConnectBound + kBusyMachine);
  const std::string remedy = remedyFor(plant, fault, connect.answer);
  endLeftOver(plant, original);

  const std::string key = std::to_string(100 + GetParam());
  const std::string row = support::reportRow("faults", key,
                                             {fault.name, read.answer, std::to_string(read.took.count()) + " ms",
                                              connect.answer, std::to_string(connect.took.count()) + " ms", remedy});
  EXPECT_EQ(withoutTimes(row), withoutTimes(documented(fault.name)));
}

INSTANTIATE_TEST_SUITE_P(Faults, Reliability, testing::Range<std::size_t>(0, std::size(kFaults)));

TEST(ReliabilityLimits, AWriteThatNobodyReadsLastsUntilTheHelperEnds) {
  ConnectedDriver plant(symbolXml(1, "Temp", "REAL"));
  Words longerThanTheBuffer(200000);
  unsigned noise = 1;
  for (short& word : longerThanTheBuffer) word = static_cast<short>((noise = noise * 1664525 + 1013904223) >> 16);
  stopHelper(plant);
  std::future<std::int32_t> written =
      std::async(std::launch::async, [&] { return plant.write(1, longerThanTheBuffer); });
  EXPECT_EQ(written.wait_for(kReadBound + milliseconds(1000)), std::future_status::timeout);
  killHelper(plant);
  ASSERT_EQ(written.wait_for(kBusyMachine), std::future_status::ready);
  EXPECT_EQ(written.get(), -1);
  EXPECT_TRUE(waitUntil([&] { return plant.driver->connect() == 0; }));
  EXPECT_EQ(plant.write(1, kFirst), 0);
}

}  // namespace
