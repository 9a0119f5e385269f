#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <regex>
#include <set>
#include <string>

#include "bacnet/service/discovery.h"
#include "io/event_loop.h"
#include "io/udp_datagrams.h"
#include "support/bacnet_asker.h"
#include "support/device_program.h"
#include "support/poll.h"
#include "support/temp_dir.h"

// bacnet-device as its users start it: on addresses of the loopback and a port that nobody else has.
namespace {

using namespace std::chrono_literals;
using support::readFile;
using Program = support::DeviceProgram;
using testing::HasSubstr;

constexpr std::uint32_t kLoopback = 0x7F000001;
constexpr std::uint32_t kLoopbackBroadcast = 0x7FFFFFFF;
const std::string kPlant = SOURCE_DIR "/examples/plant";

class BacnetDeviceRun : public testing::Test {
 protected:
  BacnetDeviceRun() { own_.listen(broadcasts_); }

  std::string place(int last) const { return "--address " + address(last) + " --port " + std::to_string(port_); }
  static std::string address(int last) { return "127.0.0." + std::to_string(last); }
  std::string temperatureAt(int last, io::Duration patience = 5s) {
    support::BacnetAsker asker(loop_,
                               std::make_unique<io::CUdpDatagrams>(loop_, io::UdpOptions{{kLoopback, 0}, {}, {}}),
                               {*io::parseIp(address(last)), port_}, wait_);
    asker.patience = patience;
    return asker.read({0, 1}, 85);
  }
  /// Asks everybody, and gives the devices that answer, until there are `count`.
  std::set<std::uint32_t> found(std::size_t count) {
    std::set<std::uint32_t> devices;
    own_.heard.clear();
    own_.broadcast({kLoopbackBroadcast, port_}, bacnet::UnconfirmedRequest{bacnet::UnconfirmedService::kWhoIs, {}});
    wait_(
        [&] {
          for (const auto& each : own_.heard) {
            const auto* request = std::get_if<bacnet::UnconfirmedRequest>(&each.view);
            const auto iAm = request != nullptr ? bacnet::parseIAm(request->data) : std::nullopt;
            if (iAm) devices.insert(iAm->device);
          }
          return devices.size() >= count;
        },
        5s);
    return devices;
  }

  io::CEventLoop loop_;
  io::CUdpDatagrams broadcasts_{loop_, {{kLoopbackBroadcast, 0}, true, {}}};
  const std::uint16_t port_ = broadcasts_.local().port;
  const support::BacnetAsker::Wait wait_ = [this](const std::function<bool()>& condition, io::Duration limit) {
    const io::TimePoint end = loop_.now() + limit;
    std::function<void()> look;
    io::CTimer again;
    look = [&] {
      if (condition() || loop_.now() >= end) return loop_.stop(0);
      again = loop_.after(2ms, look);
    };
    again = loop_.after(0ms, look);
    loop_.run();
  };
  support::BacnetAsker own_{
      loop_, std::make_unique<io::CUdpDatagrams>(loop_, io::UdpOptions{{kLoopback, port_}, true, {}}), {}, wait_};
};

TEST_F(BacnetDeviceRun, ServesSideBySideAtAddressesOfTheLoopback) {
  Program first("--project " + kPlant + " --link 1 " + place(2));
  Program second("--project " + kPlant + "/BACnetLabel.xml --link 2 --device-id 77 " + place(3));
  EXPECT_EQ(first.readyLine(), "bacnet-device 3001 on " + address(2) + ":" + std::to_string(port_) + ", 16 objects\n");
  EXPECT_THAT(second.readyLine(), HasSubstr("bacnet-device 77 on "));
  EXPECT_EQ(found(2), (std::set<std::uint32_t>{77, 3001}));
  EXPECT_THAT(temperatureAt(2), testing::MatchesRegex("2[0-9.]+"));
  EXPECT_EQ(temperatureAt(3), "error 1 31");

  Program third("--project " + kPlant + " --link 1 " + place(2));
  EXPECT_EQ(third.waitForEnd(), 1);
  EXPECT_THAT(third.err(), HasSubstr("another bacnet-device is at " + address(2)));
  for (Program* each : {&first, &second}) each->signal(each == &first ? SIGTERM : SIGINT);
  EXPECT_EQ(first.waitForEnd(), 0);
  EXPECT_EQ(second.waitForEnd(), 0);
}

TEST_F(BacnetDeviceRun, BehavesAsItsFileSaysAndReadsItAgain) {
  const support::TempDir dir;
  const std::string file = dir.write("behaviour.json", R"({"faults": [{"error": [0, 3]}]})");
  const Program program("--trace --project " + kPlant + " --link 1 --behaviour " + file + " " + place(2));
  program.readyLine();
  EXPECT_EQ(temperatureAt(2), "error 0 3");
  const auto becomes = [&](const std::string& expected) {
    program.signal(SIGHUP);
    return support::waitUntil([&] { return std::regex_match(temperatureAt(2), std::regex(expected)); });
  };
  dir.write("behaviour.json", R"({"deviceId": 5})");
  EXPECT_TRUE(becomes("2[0-9.]+"));
  EXPECT_EQ(found(1), std::set<std::uint32_t>{5});
  const auto isRefused = [&](const std::string& reason) {
    program.signal(SIGHUP);
    return support::waitUntil(
        [&] { return program.err().find(reason + "; it behaves as before\n") != std::string::npos; });
  };
  dir.write("behaviour.json", "{");
  EXPECT_TRUE(isRefused(""));
  std::filesystem::remove(file);
  std::filesystem::create_directory(file);
  EXPECT_TRUE(isRefused(": cannot be read"));
  EXPECT_EQ(found(1), std::set<std::uint32_t>{5});
  EXPECT_THAT(program.err(), HasSubstr(" confirmed-request read-property invoke 1, "));

  program.signal(SIGSTOP);
  EXPECT_EQ(temperatureAt(2, 100ms), "nothing");
  program.signal(SIGCONT);
  EXPECT_NE(temperatureAt(2), "nothing");
}

TEST_F(BacnetDeviceRun, NamesTheMistakeAndItsRemedy) {
  const support::TempDir dir;
  const std::string behaviour = dir.write("behaviour.json", R"({"maxApdu": 51})");
  const std::string noDevice = dir.write("BACnetLabel.xml", R"(<ProjectInfo><BACnet LinkID="4"/></ProjectInfo>)");
  const struct {
    std::string arguments;
    int status;
    std::string message;
  } kMistakes[] = {
      {"", 2, "--project is required; bacnet-device --help shows the options"},
      {"--project x --address here", 2, "here is no IPv4 address"},
      {"--project x --port 0", 2, "--port"},
      {"--project /nowhere", 3, "/nowhere"},
      {"--project " + kPlant, 3, "has the links 1, 2; choose one with --link"},
      {"--project " + kPlant + " --link 9", 3, "has no link 9; it has 1, 2"},
      {"--project " + noDevice, 3, "choose one with --device-id"},
      {"--project " + kPlant + " --link 1 --behaviour /none", 3, "/none: cannot be read"},
      {"--project " + kPlant + " --link 1 --behaviour " + behaviour, 3, "\"maxApdu\" must be 50, 128"},
      {"--project " + kPlant + " --link 1 --broadcast 127.255.255.255 --address 203.0.113.9", 1, "choose an --address"},
  };
  for (const auto& each : kMistakes) {
    Program program(each.arguments);
    EXPECT_EQ(program.waitForEnd(), each.status) << each.arguments;
    EXPECT_THAT(program.err(), HasSubstr(each.message));
    EXPECT_EQ(program.out(), "");
  }
  Program help("--help");
  EXPECT_EQ(help.waitForEnd(), 0);
  const std::string page = readFile(SOURCE_DIR "/docs/bacnet-device.md");
  const std::string text = help.out();
  const std::regex option("--[a-z-]+");
  for (std::sregex_iterator each(text.begin(), text.end(), option), end; each != end; ++each) {
    const bool isEverywhere = each->str() == "--help" || each->str() == "--version";
    EXPECT_TRUE(isEverywhere || page.find("`" + each->str()) != std::string::npos) << each->str();
  }
}

TEST_F(BacnetDeviceRun, TakesTheExampleOfABehaviour) {
  Program program("--project " + kPlant + " --link 1 --behaviour " SOURCE_DIR "/examples/behaviour.json " + place(2));
  EXPECT_THAT(program.readyLine(), HasSubstr("bacnet-device 3001 on "));
}

}  // namespace
