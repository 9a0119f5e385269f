#include <gtest/gtest.h>

#include <string>

#include "io/event_loop.h"
#include "io/udp_datagrams.h"
#include "support/device_program.h"
#include "support/page.h"
#include "support/tool.h"

// The commands that ask devices themselves, against virtual ones on addresses of the loopback and a port that nobody
// else has.
namespace {

using support::replaced;
using support::Tool;

class Commissioning : public testing::Test {
 protected:
  Commissioning() {
    std::string xml = support::readFile(SOURCE_DIR "/examples/plant/BACnetLabel.xml");
    tool_.project.dir.write("BACnetLabel.xml", onLoopback(replaced(xml, "47808</DesPort>", port_ + "</DesPort>")));
    for (const support::DeviceProgram* each : {&first_, &second_}) {
      EXPECT_NE(each->readyLine().find("objects"), std::string::npos) << each->err();
    }
  }

  static std::string onLoopback(const std::string& text) { return replaced(text, "192.168.10.", "127.0.0."); }
  std::string device(const std::string& link, const std::string& ip) const {
    return "--project " SOURCE_DIR "/examples/plant --still --link " + link + " --address " + ip + " --port " + port_;
  }
  Tool::Run run(const std::string& arguments) const { return tool_.shell("$TOOL " + arguments); }

  const Tool tool_;
  io::CEventLoop loop_;
  const io::CUdpDatagrams broadcasts_{loop_, {{0x7FFFFFFF, 0}, true, {}}};  // keeps the port for this test
  const std::string port_ = std::to_string(broadcasts_.local().port);
  const support::DeviceProgram first_{device("1", "127.0.0.21")};
  const support::DeviceProgram second_{device("2", "127.0.0.22")};
};

TEST_F(Commissioning, PrintsWhatItsPageShows) {
  const auto examples = support::examplesOf(support::readFile(SOURCE_DIR "/docs/commissioning.md"));
  ASSERT_GT(examples.size(), 4U);
  const std::string dir = tool_.project.dir.path().string();
  int status = -1;
  for (const support::Example& example : examples) {
    if (example.command == "echo $?") {
      EXPECT_EQ(std::to_string(status) + "\n", example.output);
      continue;
    }
    std::string command = replaced(example.command, "hmi-host", Tool::program());
    command = onLoopback(replaced(command, "--interface eth0", "--interface lo --port " + port_));
    const auto run = tool_.shell("cd " + dir + " && " + replaced(command, "/opt/plant", dir) + " 2>&1");
    EXPECT_EQ(support::shapeOf(replaced(run.out, dir, "/opt/plant")), support::shapeOf(example.output))
        << example.command << '\n'
        << run.out;
    status = run.status;
  }
}

TEST_F(Commissioning, CommandsAtAPriorityReachTheDeviceAndAreReleased) {
  ASSERT_EQ(run("write 4=19.5 --priority 5").status, 0);
  ASSERT_EQ(run("write 4=22 6=true --priority 12").status, 0);
  EXPECT_NE(
      run("--format csv priorities 4").out.find("\n4,SupplyAir.TempSetpoint,5,critical equipment control,19.5,true\n"),
      std::string::npos);
  EXPECT_NE(run("--format csv priorities 4").out.find("\n4,SupplyAir.TempSetpoint,12,,22,\n"), std::string::npos);
  EXPECT_EQ(run("--format json release 4 --priority 5").out,
            R"({"regId":4,"name":"SupplyAir.TempSetpoint","priority":5,"done":true,"value":"22","active":12})"
            "\n");
  const auto released = run("--format csv release 4 6 --priority 12");
  EXPECT_EQ(released.out,
            "regId,name,priority,done,value,active\n4,SupplyAir.TempSetpoint,12,true,0,default\n"
            "6,SupplyFan.Command,12,true,0,default\n");
}

TEST_F(Commissioning, WhatIsWrongIsSaidInALineAndHasItsStatus) {
  const struct {
    std::string line;
    int status;
    std::string said;
  } cases[] = {
      {"write 4=1 --priority 6", 2, "priority 6 is reserved"},
      {"write 4=1 --priority 17", 2, "--priority"},
      {"write 4=1 --priority 5 --dry-run", 2, "excludes"},
      {"release 5", 2, "SupplyAir.Units is units, which has no priorities"},
      {"priorities 1", 7, "SupplyAir.Temp (RegId 1): it has no priority array"},
      {"write 4=warm --priority 9", 7, "'warm' is no value of its type"},
      {"--link 2 --interface no_such_if priorities 1", 2, "there is no network interface 'no_such_if'"},
  };
  for (const auto& each : cases) {
    const auto run = this->run(each.line);
    EXPECT_EQ(run.status, each.status) << each.line << '\n' << run.err;
    EXPECT_NE(run.err.find(each.said), std::string::npos) << each.line << '\n' << run.err;
  }
}

}  // namespace
