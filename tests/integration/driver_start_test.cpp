#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>

#include "support/prepared_driver.h"

namespace {

using support::ConnectedDriver;
using support::HelperProject;
using support::LoadedDriver;
using support::symbolXml;
using support::Words;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

const std::string kOnePoint = symbolXml(1, "Temp", "REAL");

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t found = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
  return found;
}

TEST(DriverStart, ABadLinkNumberStartsNothing) {
  LoadedDriver driver;
  driver::CConfig config;
  config.setConnectNum(-1);
  CaptureStdout();
  EXPECT_EQ(driver->init(config), -1);
  EXPECT_EQ(GetCapturedStdout(), "Error: init failed with error code -1 \n");
}

TEST(DriverStart, AProjectWithoutHelperFailsAfterTheWaitAndIsNotRead) {
  const HelperProject project;
  std::filesystem::remove(project.dir.file("BACnet_Velix"));
  project.dir.write("Devlib/", "");
  std::filesystem::create_directories(project.dir.path() / "Devlib");
  project.dir.write("Devlib/BACnet_Velix.bak", "");
  project.dir.write("Devlib/bacnet_velix", "");

  LoadedDriver driver;
  CaptureStdout();
  EXPECT_EQ(driver->init(project.config()), -1);
  const std::string output = GetCapturedStdout();
  EXPECT_EQ(count(output, "Starting Velix server: "), 1U) << output;
  EXPECT_NE(output.find("[LOGIC ] Starting Velix server: " + project.dir.project() + "BACnet_Velix " +
                        std::to_string(project.link) + " -f\n"),
            std::string::npos)
      << output;
  EXPECT_EQ(output.find("parse xml"), std::string::npos);
  EXPECT_EQ(driver->getConnectState(), -1);
}

TEST(DriverStart, AHelperBelowDevlibIsFound) {
  const HelperProject project;
  project.writeProject(kOnePoint);
  std::filesystem::create_directories(project.dir.path() / "Devlib/arm64");
  std::filesystem::rename(project.dir.file("BACnet_Velix"), project.dir.file("Devlib/arm64/BACnet_Velix"));

  LoadedDriver driver;
  CaptureStdout();
  EXPECT_EQ(driver->init(project.config()), 0);
  const std::string output = GetCapturedStdout();
  EXPECT_EQ(count(output, "Starting Velix server: "), 2U);
  EXPECT_EQ(count(output, "Devlib/arm64/BACnet_Velix "), 1U) << output;
  EXPECT_EQ(driver->connect(), 0);
}

TEST(DriverStart, ARunningHelperIsLeftAlone) {
  ConnectedDriver plant(kOnePoint);
  const pid_t running = plant.project.helperPid();
  LoadedDriver second;
  CaptureStdout();
  EXPECT_EQ(second->init(plant.project.config()), 0);
  EXPECT_EQ(GetCapturedStdout().find("Starting"), std::string::npos);
  EXPECT_EQ(plant.project.helperPid(), running);
}

// A process of the test's own that the pid file can name.
class Bystander {
 public:
  Bystander() : pid_(fork()) {
    if (pid_ == 0) {
      pause();
      _exit(0);
    }
  }
  ~Bystander() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }
  pid_t pid() const { return pid_; }
  bool wasKilled() {
    int status = 0;
    const bool ended =
        support::waitUntil([&] { return waitpid(pid_, &status, WNOHANG) == pid_; }, std::chrono::milliseconds(200));
    if (ended) pid_ = -1;
    return ended && WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  }

 private:
  pid_t pid_;
};

TEST(DriverStart, TheProcessThatThePidFileNamesIsKilled) {
  for (const bool named : {true, false}) {
    const HelperProject project;
    project.writeProject(kOnePoint);
    Bystander bystander;
    std::filesystem::create_directories("/tmp/velix_bacnet");
    std::ofstream(project.linkFile(".sock")) << "nobody listens here";
    std::ofstream(project.linkFile(".pid")) << (named ? "" : "-") << bystander.pid() << "\n";

    LoadedDriver driver;
    CaptureStdout();
    EXPECT_EQ(driver->init(project.config()), 0);
    const std::string output = GetCapturedStdout();
    EXPECT_EQ(count(output, "[LOGIC ] Velix service needs restart (LinkID: " + std::to_string(project.link) + ")\n"),
              1U);
    EXPECT_EQ(count(output, "[ERROR ] Kill hanging process " + std::to_string(bystander.pid()) + "\n"),
              named ? 1U : 0U);
    EXPECT_EQ(bystander.wasKilled(), named);
    EXPECT_NE(project.helperPid(), 0);
  }
}

TEST(DriverStart, ProjectFileFaultsHaveTheirCodesAndMessages) {
  const struct {
    const char* content;
    std::int32_t code;
    const char* logged;
  } cases[] = {
      {nullptr, -2, "[ERROR ] XML Parse Error: File was not found\n"},
      {"<ProjectInfo><BACnet>", -2, "[ERROR ] XML Parse Error: "},
      {"", -2, "[ERROR ] XML Parse Error: No document element found\n"},
      {"<Other/>", -3, ""},
  };
  const HelperProject project;
  LoadedDriver driver;
  for (const auto& example : cases) {
    std::filesystem::remove(project.dir.file("BACnetLabel.xml"));
    if (example.content != nullptr) project.dir.write("BACnetLabel.xml", example.content);
    CaptureStdout();
    EXPECT_EQ(driver->init(project.config()), example.code);
    const std::string output = GetCapturedStdout();
    EXPECT_NE(output.find(example.logged), std::string::npos) << output;
    EXPECT_EQ(count(output, "Error: parse xml failed with error code " + std::to_string(example.code) + " \n"), 1U);
  }
}

TEST(DriverStart, ConnectNeedsAnInterfaceWithAnAddress) {
  ConnectedDriver plant(kOnePoint);
  const std::size_t before = plant.project.calls("bac_connect");
  for (const char* name : {"", "no_such_if", "an interface name that is too long"}) {
    EXPECT_EQ(plant.driver->updateConfig(plant.project.config(name)), 0);
    EXPECT_EQ(plant.driver->connect(), -1) << name;
    EXPECT_EQ(plant.driver->getConnectState(), 0) << name;
  }
  EXPECT_EQ(plant.project.calls("bac_connect"), before);
  EXPECT_EQ(plant.driver->disconnect(), 0);
  EXPECT_EQ(plant.driver->getConnectState(), 0);  // only the link's flags are cleared
  Words words;
  EXPECT_EQ(plant.read(1, words), 0);
}

TEST(DriverStart, BatchAdmissionFollowsTheLinksFlags) {
  for (const bool reads : {true, false}) {
    for (const bool writes : {true, false}) {
      const HelperProject project;
      project.writeProject(kOnePoint, reads, writes);
      LoadedDriver driver;
      ASSERT_EQ(driver->init(project.config()), 0);
      EXPECT_EQ(driver->supportsMultiAccess(), reads || writes);
      for (const bool write : {false, true}) {
        driver::AccessRequest request{write ? driver::AccessRequest::kWrite : driver::AccessRequest::kRead};
        int accepted = 0;
        while (accepted < 20 && driver->acceptBatchItem(nullptr, accepted, request)) continue;
        EXPECT_EQ(accepted, (write ? writes : reads) ? 11 : 0) << reads << writes << write;
      }
    }
  }
}

}  // namespace
