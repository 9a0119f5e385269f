#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <deque>
#include <set>
#include <thread>

#include "cbl/net/descriptor.h"
#include "support/prepared_driver.h"
#include "support/process_state.h"

namespace {

using support::ConnectedDriver;
using support::symbolXml;
using support::waitUntil;
using support::Words;

const Words kWritten = {16384, 7};

std::string pointsXml(int count) {
  std::string symbols;
  for (int regId = 1; regId <= count; ++regId) symbols += symbolXml(regId, "P" + std::to_string(regId), "REAL");
  return symbols;
}

/// What the host does about a signal, without restarting interrupted calls; as it was before when it ends.
class HostSignal {
 public:
  HostSignal(int signal, void (*handler)(int)) : signal_(signal), handler_(handler) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigaction(signal, &action, &before_);
  }
  ~HostSignal() { sigaction(signal_, &before_, nullptr); }
  HostSignal(const HostSignal&) = delete;
  HostSignal& operator=(const HostSignal&) = delete;

  bool isStillSet() const {
    struct sigaction now {};
    return sigaction(signal_, nullptr, &now) == 0 && now.sa_handler == handler_;
  }

 private:
  const int signal_;
  void (*const handler_)(int);
  struct sigaction before_ {};
};

/// SIGALRM every millisecond of its lifetime.
class Interruptions {
 public:
  Interruptions() : signal_(SIGALRM, [](int) {}) { every(1000); }
  ~Interruptions() { every(0); }

 private:
  static void every(suseconds_t microseconds) {
    const itimerval interval{{0, microseconds}, {0, microseconds}};
    setitimer(ITIMER_REAL, &interval, nullptr);
  }
  const HostSignal signal_;
};

void expectRestart(ConnectedDriver& plant) {
  plant.project.killHelper();
  Words words;
  EXPECT_EQ(plant.read(1, words), -1);
  EXPECT_EQ(plant.driver->connect(), 0);
  EXPECT_EQ(plant.write(1, kWritten), 0);
  EXPECT_EQ(plant.read(1, words), 0);
  EXPECT_EQ(words, kWritten);
}

TEST(HostSafety, ABrokenConnectionRaisesNoSignal) {
  ConnectedDriver plant(pointsXml(1));
  const HostSignal pipe(SIGPIPE, SIG_DFL);
  plant.project.killHelper();
  EXPECT_EQ(plant.write(1, kWritten), -1);
  EXPECT_EQ(plant.write(1, kWritten), -1);
  EXPECT_EQ(plant.driver->connect(), 0);
  expectRestart(plant);
  EXPECT_TRUE(pipe.isStillSet());
}

TEST(HostSafety, AHostThatReapsAllChildrenItselfIsServedAlike) {
  const auto reapAll = [](int) {
    const int saved = errno;
    while (waitpid(-1, nullptr, WNOHANG) > 0) continue;
    errno = saved;
  };
  ConnectedDriver plant(pointsXml(1));
  for (void (*handler)(int) : {static_cast<void (*)(int)>(SIG_IGN), static_cast<void (*)(int)>(reapAll)}) {
    const HostSignal child(SIGCHLD, handler);
    for (int i = 0; i < 5; ++i) expectRestart(plant);
    EXPECT_TRUE(child.isStillSet());
  }
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

// A signal that meets a wait for the reply ends the call like a time-out; the next one connects anew.
TEST(HostSafety, InterruptedCallsAnswerRightOrNotAtAll) {
  constexpr int kReads = 20000;
  ConnectedDriver plant(pointsXml(2));
  ASSERT_EQ(plant.write(1, kWritten), 0);
  ASSERT_EQ(plant.write(2, {1, 2}), 0);
  const Interruptions interruptions;
  int answered = 0;
  for (int i = 0; i < kReads; ++i) {
    Words words;
    const std::int32_t code = plant.read(1 + i % 2, words);
    ASSERT_TRUE(code == 0 || code == -1) << code;
    ASSERT_EQ(words, code != 0 ? Words{} : i % 2 == 0 ? kWritten : (Words{1, 2}));
    if (code == 0) ++answered;
  }
  EXPECT_GT(answered, kReads / 2);
  EXPECT_LT(answered, kReads);
}

TEST(HostSafety, AnInterruptedConnectStillWaitsForASlowHelper) {
  ConnectedDriver plant(pointsXml(1));
  const std::string program = plant.project.dir.file("BACnet_Velix");
  const std::string starts = plant.project.dir.file("starts");
  const std::string slowed = plant.project.dir.file("slowed");
  std::filesystem::rename(program, slowed);
  plant.project.dir.write("BACnet_Velix", "#!/bin/sh\necho >>" + starts + "\nsleep 0.3\nexec " + slowed + " \"$@\"\n");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  constexpr std::size_t kRestarts = 3;
  for (std::size_t i = 0; i < kRestarts; ++i) {
    plant.project.killHelper();
    const Interruptions interruptions;
    EXPECT_TRUE(waitUntil([&] { return plant.driver->connect() == 0; })) << i;
  }
  EXPECT_EQ(support::readFile(starts).size(), kRestarts) << "helpers pile up";
}

TEST(HostSafety, FiftyLoggingThreadsLoseNoLineWhileHelpersAreStarted) {
  constexpr int kThreads = 50;
  ConnectedDriver plant(pointsXml(1));
  testing::internal::CaptureStdout();
  std::atomic<bool> ending{false};
  std::atomic<int> printed{0};
  std::deque<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int line = 0; !ending; ++line) {
        std::printf("<host %d %d>\n", thread, line);
        ++printed;
        std::this_thread::sleep_for(std::chrono::microseconds(500));
      }
    });
  }
  for (int i = 0; i < 10; ++i) expectRestart(plant);
  ending = true;
  for (std::thread& thread : threads) thread.join();

  const std::string output = testing::internal::GetCapturedStdout();
  std::multiset<std::string> lines;
  for (std::size_t at = output.find("<host "); at != std::string::npos; at = output.find("<host ", at + 1)) {
    lines.insert(output.substr(at, output.find(">\n", at) - at));
  }
  EXPECT_EQ(lines.size(), static_cast<std::size_t>(printed));
  EXPECT_EQ(std::set<std::string>(lines.begin(), lines.end()).size(), lines.size()) << "a line was printed twice";
}

// Each thread has a point of its own, so that a value of any other is found out.
void workOn(ConnectedDriver& plant, int regId, int rounds) {
  driver::Batch batch = support::batchOf(*plant.driver, {{regId, {}}, {regId, {}}});
  CRegister& reg = batch.front().reg;
  for (int i = 0; i < rounds; ++i) {
    const Words written = {static_cast<short>(regId), static_cast<short>(i)};
    ASSERT_EQ(plant.driver->writeRegister(reg, written), 0);
    Words words;
    ASSERT_EQ(plant.driver->readRegister(reg, words), 0);
    ASSERT_EQ(words, written);
    for (driver::BatchItem& item : batch) item.words.clear();
    ASSERT_EQ(plant.driver->readRegisters(batch), 0);
    for (const driver::BatchItem& item : batch) ASSERT_EQ(item.words, written);
    ASSERT_EQ(plant.driver->getConnectState(), 0);
  }
}

TEST(HostSafety, SixteenThreadsOnOneDriverKeepTheirValuesApart) {
  ConnectedDriver plant(pointsXml(16));
  std::deque<std::thread> threads;
  for (int regId = 1; regId <= 16; ++regId) threads.emplace_back([&, regId] { workOn(plant, regId, 300); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(plant.driver->disconnect(), 0);
}

TEST(HostSafety, EightLinksWorkAtOnceWhileOneIsRestarted) {
  std::deque<ConnectedDriver> plants;
  for (int i = 0; i < 8; ++i) plants.emplace_back(pointsXml(8));
  std::deque<std::thread> threads;
  for (int i = 1; i < 8; ++i) threads.emplace_back([&, i] { workOn(plants[static_cast<std::size_t>(i)], i, 500); });
  for (int i = 0; i < 3; ++i) expectRestart(plants.front());
  for (std::thread& thread : threads) thread.join();
}

TEST(HostSafety, DescriptorsPast1024AreWorkedWithAndNotHandedOn) {
  constexpr int kPast = 1100;
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  ASSERT_GE(limit.rlim_max, 2 * kPast);
  limit.rlim_cur = std::max<rlim_t>(limit.rlim_cur, 2 * kPast);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  std::deque<cbl::CDescriptor> held;
  do held.emplace_back(open("/dev/null", O_RDONLY));
  while (held.back().number() >= 0 && held.back().number() < kPast);
  ASSERT_GE(held.back().number(), kPast);

  ConnectedDriver plant(pointsXml(1));
  expectRestart(plant);
  const std::string ofHelper = "/proc/" + std::to_string(plant.project.helperPid()) + "/fd";
  EXPECT_LT(support::entriesOf(ofHelper.c_str()), 32U);
}

}  // namespace
