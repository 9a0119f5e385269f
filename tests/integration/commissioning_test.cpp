#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
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
    xml = support::readFile(SOURCE_DIR "/examples/mistakes/renovated.xml");
    tool_.project.dir.write("renovated.xml", onLoopback(replaced(xml, "47808</DesPort>", port_ + "</DesPort>")));
    for (const support::DeviceProgram* each : {&first_, &second_}) {
      EXPECT_NE(each->readyLine().find("objects"), std::string::npos) << each->err();
    }
  }

  static std::string onLoopback(const std::string& text) { return replaced(text, "192.168.10.", "127.0.0."); }
  std::string device(const std::string& link, const std::string& ip) const {
    return "--project " SOURCE_DIR "/examples/plant --still --link " + link + " --address " + ip + " --port " + port_;
  }
  std::string search() const { return "--interface lo --timeout 0.4 --port " + port_; }
  // A list of the second device from before an object got another name, and another one another instance.
  static void writeSpringList(const std::string& dir) {
    const std::string now = support::readFile(dir + "/3002.json");
    std::ofstream(dir + "/spring.json") << replaced(replaced(now, R"("name":"Pump2.Speed")", R"("name":"Pump2.Rate")"),
                                                    R"("instance":2,"name":"Pump2.Fault")",
                                                    R"("instance":4,"name":"Pump2.Fault")");
  }
  Tool::Run run(const std::string& arguments) const { return tool_.shell("$TOOL " + arguments); }

  // Commands that go through driver and helper need a link that no other test has.
  static bool isDriven(const std::string& command) {
    return command.find("--texts") != std::string::npos || command.find("write SupplyAir.Units") != std::string::npos;
  }
  std::string projectWithHelper() const {
    const std::string dir = tool_.project.dir.project() + "driven/";
    std::filesystem::create_directory(dir);
    const std::string xml = support::readFile(tool_.project.dir.file("BACnetLabel.xml"));
    tool_.project.dir.write("driven/BACnetLabel.xml", replaced(xml, "LinkID=\"1\"", "LinkID=\"" + tool_.link() + "\""));
    support::installHelper(dir, BIN_DIR "/BACnet_Velix");
    return dir;
  }

  const Tool tool_;
  io::CEventLoop loop_;
  const io::CUdpDatagrams broadcasts_{loop_, {{0x7FFFFFFF, 0}, true, {}}};  // keeps the port for this test
  const std::string port_ = std::to_string(broadcasts_.local().port);
  const support::DeviceProgram first_{device("1", "127.0.0.21") + " --value-sources"};
  const support::DeviceProgram second_{device("2", "127.0.0.22")};
};

TEST_F(Commissioning, PrintsWhatItsPageShows) {
  const auto examples = support::examplesOf(support::readFile(SOURCE_DIR "/docs/commissioning.md"));
  ASSERT_GT(examples.size(), 4U);
  const std::string dir = tool_.project.dir.path().string();
  std::filesystem::create_directory(dir + "/new");
  const std::string driven = projectWithHelper();
  int status = -1;
  for (const support::Example& example : examples) {
    if (example.command == "echo $?") {
      EXPECT_EQ(std::to_string(status) + "\n", example.output);
      continue;
    }
    std::string command = example.command;
    if (isDriven(command)) command = replaced(command, "/opt/plant", driven + " --link $LINK");
    command = replaced(command, "hmi-host ", Tool::program() + " ");
    command = replaced(command, "check --live --interface eth0", "check --live --interface lo");
    command = onLoopback(replaced(command, "--interface eth0", search()));
    command = replaced(command, "/opt/new", dir + "/new");
    if (command.find("spring.json") != std::string::npos) writeSpringList(dir);
    const auto run = tool_.shell("cd " + dir + " && " + replaced(command, "/opt/plant", dir) + " 2>&1");
    const std::string out = Tool::withoutLog(replaced(run.out, dir + "/new", "/opt/new"));
    EXPECT_EQ(support::shapeOf(replaced(out, dir, "/opt/plant")), support::shapeOf(example.output))
        << example.command << '\n'
        << run.out;
    status = run.status;
  }
}

TEST_F(Commissioning, ValuesAreShownInWordsBesideTheNumbers) {
  const std::string driven = Tool::program() + " --project " + projectWithHelper() + " --link $LINK ";
  const auto run = [&](const std::string& arguments) { return tool_.shell(driven + arguments); };
  ASSERT_EQ(run("write 5=98 16=3 9=40").status, 0);
  EXPECT_EQ(run("--format csv read 1 16 9 14 --texts").out,
            "regId,name,code,value,type,words,object,property,unit,text\n"
            "1,SupplyAir.Temp,0,0.0,REAL,0 0,\"analog-input,1\",present-value,%,0.0 %\n"
            "16,Unit.Mode,0,3,UINT,0 3,\"multi-state-value,1\",present-value,,Medium\n"
            "9,SupplyFan.Speed,0,40.0,REAL,16928 0,\"analog-output,1\",present-value,,40.0\n"
            "14,HeatingValve.Priority[8],22,,REAL,,\"analog-output,2\",priority-array[8],,\n");
  const auto watched = run("watch 1 16 --texts --count 2 --interval 1 --on-change --precision 2");
  EXPECT_NE(watched.out.find("  0.00 %  analog-input,1       present-value\n"), std::string::npos) << watched.out;
  EXPECT_NE(watched.out.find("  Medium  multi-state-value,1  present-value\n"), std::string::npos) << watched.out;
  EXPECT_NE(run("--format json points Unit.Mode --texts")
                .out.find(R"("unit":null,"states":["Off","Low","Medium","High"],"commandable":true,)"
                          R"("deviceName":"Unit.Mode","description":"Unit.Mode"})"),
            std::string::npos);
}

TEST_F(Commissioning, CommandsAtAPriorityReachTheDeviceAndAreReleased) {
  ASSERT_EQ(run("write 4=19.5 --priority 5").status, 0);
  ASSERT_EQ(run("write 4=22 6=true --priority 12").status, 0);
  const std::string slots = run("--format csv priorities 4").out;
  const std::regex commanded(
      "\n4,SupplyAir.TempSetpoint,5,critical equipment control,19.5,true,"
      "127.0.0.1:[0-9]+,20[-0-9]+ [.:0-9]+\n");
  EXPECT_TRUE(std::regex_search(slots, commanded)) << slots;
  EXPECT_NE(slots.find("\n4,SupplyAir.TempSetpoint,12,,22,,127.0.0.1:"), std::string::npos) << slots;
  EXPECT_EQ(run("--format json release 4 --priority 5").out,
            R"({"regId":4,"name":"SupplyAir.TempSetpoint","priority":5,"done":true,"value":"22","active":12})"
            "\n");
  const auto released = run("--format csv release 4 6 --priority 12");
  EXPECT_EQ(released.out,
            "regId,name,priority,done,value,active\n4,SupplyAir.TempSetpoint,12,true,0,default\n"
            "6,SupplyFan.Command,12,true,0,default\n");
}

// A device that takes nothing but single reads in short frames has the same objects, and one of a taken instance shows.
TEST_F(Commissioning, SimpleDevicesAreListedLikeOthersAndDuplicatesShow) {
  const std::string behaviour = tool_.project.dir.write(
      "simple.json", R"({"maxApdu":50,"segmentation":"none","readMultiple":false,"cov":false})");
  const support::DeviceProgram simple(device("1", "127.0.0.23") + " --behaviour " + behaviour);
  ASSERT_NE(simple.readyLine(), "") << simple.err();
  const std::string others = "127.0.0.21:" + port_;
  const std::string own = "127.0.0.23:" + port_;
  const std::string whole = run("--format csv objects " + others).out;
  const auto listed = run("--format csv objects " + own);
  EXPECT_EQ(listed.status, 0) << listed.err;
  EXPECT_EQ(listed.out, replaced(replaced(whole, ",true,true,", ",true,false,"), ",false,true,", ",false,false,"));

  const auto found = run("--format csv discover --from 3001 --to 3001 " + search());
  EXPECT_EQ(found.status, 0);
  EXPECT_EQ(found.out,
            "device,address,network,mac,vendor,model,name,maxApdu,segmentation,services,note\n"
            "3001," +
                others +
                ",,,0,virtual device,bacnet-device 3001,1476,both,RPM WPM COV,duplicate id\n"
                "3001," +
                own + ",,,0,virtual device,bacnet-device 3001,50,none,WPM,duplicate id\n");
  const auto refused = run("objects 3001 " + search());
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.err.find("2 devices have that instance: " + others + "; " + own), std::string::npos) << refused.err;

  const std::string dir = tool_.project.dir.project();
  std::filesystem::remove(dir + "BACnetLabel.xml");
  ASSERT_EQ(run("make-project --type analog-input " + search()).status, 0);
  EXPECT_EQ(run("--format csv links").out, "link,ip,desPort,deviceId,mode,network,points\n1,127.0.0.21," + port_ +
                                               ",3001,0,0,4\n"
                                               "2,127.0.0.23," +
                                               port_ + ",3001,0,0,4\n");
  const std::string xml = support::readFile(dir + "BACnetLabel.xml");
  EXPECT_NE(xml.find("<EnableReadPropm>true"), std::string::npos) << xml;
  EXPECT_NE(xml.find("<EnableReadPropm>false"), std::string::npos);
}

// What differs between a project and its device, one kind each; a device that takes single reads only is told the same.
TEST_F(Commissioning, ALiveCheckTellsWhatDiffers) {
  const std::string dir = tool_.project.dir.path().string() + "/";
  const auto differing = run("--format csv --interface lo check --live " + dir + "renovated.xml");
  EXPECT_EQ(differing.status, 7);
  for (const char* each :
       {",error,1,,BACnet,device,", ",error,1,2,ExtractAir.Temp,object,", ",error,1,3,SupplyAir.HighLimit,property,",
        ",error,1,4,Temp[4],index,", ",error,1,7,SupplyFan.Fault,type,", ",warning,1,8,SupplyFan.Hours,type,",
        ",error,1,9,RoomText,type,", ",error,1,11,SupplyFan.Release,write,"})
    EXPECT_NE(differing.out.find(each), std::string::npos) << each << '\n' << differing.out;
  EXPECT_EQ(std::count(differing.out.begin(), differing.out.end(), '\n'), 9) << differing.out;

  EXPECT_EQ(run("--interface lo check --live").status, 0);
  EXPECT_EQ(run("--interface lo check --live --strict --link 2").status, 0);
  EXPECT_EQ(run("--interface lo check --live --strict --link 1").status, 7);  // a counter of hours is rounded

  const std::string behaviour = tool_.project.dir.write(
      "simple.json", R"({"maxApdu":50,"segmentation":"none","readMultiple":false,"writeMultiple":false,"cov":false})");
  const support::DeviceProgram simple(device("1", "127.0.0.23") + " --behaviour " + behaviour);
  ASSERT_NE(simple.readyLine(), "") << simple.err();
  tool_.project.dir.write("simple.xml", replaced(support::readFile(dir + "renovated.xml"), "127.0.0.21", "127.0.0.23"));
  const auto simply = run("--format csv --interface lo check --live " + dir + "simple.xml");
  const std::string services =
      ",warning,1,,BACnet,batch,the device does not take ReadPropertyMultiple: points are read singly,write "
      "EnableReadPropm false\n"
      ",warning,1,,BACnet,batch,the device does not take WritePropertyMultiple: points are written singly,write "
      "EnableWritePropm false\n"
      ",warning,1,,BACnet,changes,the device does not take SubscribeCOV: every point is polled,write EnableSCOV 0\n";
  EXPECT_NE(simply.out.find(services), std::string::npos) << simply.out;
  EXPECT_EQ(replaced(simply.out, services, ""), differing.out);

  tool_.project.dir.write("dead.xml", replaced(support::readFile(dir + "renovated.xml"), "127.0.0.21", "127.0.0.98"));
  const auto dead = run("--format csv --interface lo check --live " + dir + "dead.xml");
  EXPECT_EQ(dead.status, 5);
  EXPECT_NE(dead.out.find(",error,1,,BACnet,device,device silent (code 20),"), std::string::npos) << dead.out;
  EXPECT_NE(dead.err.find("no device: 0 of 11 points read, 1 error, 0 warnings"), std::string::npos) << dead.err;
}

TEST_F(Commissioning, AReportIsComparedWithAnEarlierOne) {
  const std::string dir = tool_.project.dir.path().string() + "/";
  const std::string file = dir + "renovated.xml";
  const std::string check = "--format csv --interface lo check --live " + file;
  ASSERT_EQ(run(check + " --report " + dir + "r.csv --report " + dir + "r.md").status, 7);
  const auto again = run(check + " --report " + dir + "r.csv");
  EXPECT_EQ(again.status, 2);
  EXPECT_NE(again.err.find("r.csv: exists already; name another one, or take --force"), std::string::npos) << again.err;

  // One point is mended, one worse, one renamed, one gone, one more; the file's lines move.
  const std::string before = support::readFile(file);
  std::string xml = replaced(before, "<Instance>9</Instance>", "<Instance>2</Instance>");
  xml = replaced(replaced(xml, "Temp[4]", "Temp[5]"), "SupplyFan.Running", "SupplyFan.Runs");
  xml = replaced(replaced(xml, "<RegId>5<", "<RegId>12<"), "<Symbols", "\n\n<Symbols");
  tool_.project.dir.write("renovated.xml", xml);
  const auto since = run(check + " --since " + dir + "r.csv --force --report " + dir + "r.csv");
  EXPECT_EQ(since.status, 7);
  for (const char* each :
       {"\nsame,,error,1,,BACnet,device,", "\nchanged,,error,1,4,Temp[5],index,",
        "\nmended,,error,1,2,ExtractAir.Temp,object,", "\nchanged,,,1,10,SupplyFan.Runs,point,",
        "\nadded,,,1,12,SupplyAir.TempSetpoint,point,", "\nremoved,,,1,5,SupplyAir.TempSetpoint,point,"})
    EXPECT_NE(since.out.find(each), std::string::npos) << each << '\n' << since.out;
  for (const char* each : {"\nnew,", "\nadded,,,1,2,"}) EXPECT_EQ(since.out.find(each), std::string::npos) << since.out;

  // A device that is silent now mends nothing, and a report that was compared itself can be compared with.
  tool_.project.dir.write("renovated.xml", replaced(xml, "127.0.0.21", "127.0.0.98"));
  const auto silent = run(check + " --since " + dir + "r.csv");
  EXPECT_EQ(silent.out.find("\nmended,"), std::string::npos) << silent.out;
  EXPECT_NE(silent.out.find("\nchanged,,error,1,,BACnet,device,device silent"), std::string::npos) << silent.out;

  const std::string document = support::readFile(dir + "r.md");
  EXPECT_NE(document.find("| error | 1 |  | Temp[4] | property 600 of analog-input 11 has 3 elements"),
            std::string::npos);
  EXPECT_NE(document.find("| 1 | 5 | SupplyAir.TempSetpoint | analog-value 1 | present-value | REAL | ok | 0 |  | "
                          "commandable | notified |"),
            std::string::npos)
      << document;
}

TEST_F(Commissioning, CtrlCShowsWhatWasFoundByThen) {
  const auto run = tool_.shell("timeout --foreground --preserve-status -s INT 1 " + Tool::program() +
                               " discover --interface lo --timeout 50 --port " + port_);
  EXPECT_EQ(run.status, 130);
  for (const char* each : {"\n  3001  ", "\n  3002  ", "not asked"}) EXPECT_NE(run.out.find(each), std::string::npos);

  const std::string dir = tool_.project.dir.path().string();
  second_.signal(SIGSTOP);
  const auto check = tool_.shell(
      "timeout --foreground --preserve-status -s INT 2 $TOOL --interface lo check --live --report " + dir + "/r.md");
  EXPECT_EQ(check.status, 130);
  EXPECT_NE(check.out.find("SupplyFan.Hours"), std::string::npos) << check.out;
  EXPECT_NE(check.err.find("no report is written"), std::string::npos) << check.err;
  EXPECT_FALSE(std::filesystem::exists(dir + "/r.md"));
}

// From nothing to values through driver and helper.
TEST_F(Commissioning, AProjectMadeFromADeviceIsReadWrittenReleasedAndExtended) {
  const std::string dir = tool_.project.dir.project();
  const std::string file = dir + "BACnetLabel.xml";
  std::filesystem::remove(file);
  support::installHelper(dir, BIN_DIR "/BACnet_Velix");
  ASSERT_EQ(run("objects 3001 --save " + dir + "3001.json " + search()).status, 0);
  EXPECT_EQ(run("objects 3001 --save " + dir + "3001.json " + search()).status, 2);
  const std::string half = dir + "half.json";
  const auto stopped = tool_.shell(
      "timeout --foreground --preserve-status -s INT 1 $TOOL --interface lo objects 3001 "
      "--timeout 9 --port " +
      port_ + " --save " + half);
  EXPECT_EQ(stopped.status, 130);
  EXPECT_FALSE(std::filesystem::exists(half));

  ASSERT_EQ(run("--link $LINK make-project --dry-run " + dir + "3001.json").status, 0);
  EXPECT_FALSE(std::filesystem::exists(file));
  ASSERT_EQ(run("--link $LINK make-project --only 'Supply*' --with-release " + dir + "3001.json").status, 0);
  const std::string before = run("--link $LINK --format csv points").out;
  EXPECT_EQ(run("check --strict").status, 0) << run("check").out;
  const auto again = run("--link $LINK --format json make-project --with-flags " + dir + "3001.json");
  EXPECT_NE(again.out.find("\"kept\":"), std::string::npos);
  EXPECT_EQ(run("--link $LINK --format csv points").out.substr(0, before.size()), before);  // RegIds are kept
  const std::string extended = support::readFile(file);
  EXPECT_EQ(run("--link $LINK make-project --with-flags " + dir + "3001.json").status, 0);
  EXPECT_EQ(support::readFile(file), extended);

  const auto read = run("--link $LINK read --all");
  EXPECT_EQ(read.status, 0) << read.err;
  ASSERT_EQ(run("--link $LINK write SupplyAir.TempSetpoint=21.5").status, 0);
  EXPECT_NE(run("--link $LINK --format csv priorities SupplyAir.TempSetpoint").out.find(",8,manual operator,21.5,true"),
            std::string::npos);
  EXPECT_NE(run("--link $LINK --format csv release SupplyAir.TempSetpoint").out.find(",8,true,0,default"),
            std::string::npos);
  EXPECT_TRUE(tool_.project.signalHelper(SIGTERM));  // in order: killed it would leave the lock of its port behind
  tool_.project.awaitEnd();
}

// Lists of devices behind a router on MS/TP, and behind a BBMD.
TEST_F(Commissioning, ALinkHasTheRouteToItsDevice) {
  const std::string dir = tool_.project.dir.project();
  std::filesystem::remove(dir + "BACnetLabel.xml");
  const std::string object = R"("objects":[{"type":0,"instance":1,"name":"T","commandable":false}]})";
  tool_.project.dir.write("routed.json", R"({"device":{"device":77,"address":"192.0.2.1:47808","network":5,"mac":"0c",)"
                                         R"("name":"","note":"","services":["RPM"]},)" +
                                             object);
  tool_.project.dir.write("foreign.json", R"({"device":{"device":78,"address":"192.0.2.9:47809","network":null,)"
                                          R"("name":"","note":"","bbmd":"192.0.2.3"},)" +
                                              object);
  ASSERT_EQ(run("make-project " + dir + "routed.json " + dir + "foreign.json").status, 0);
  EXPECT_EQ(run("check --strict").status, 0) << run("check").out;
  tool_.project.dir.write("part.json", R"({"problem":"no answer","device":{"device":77,"address":"192.0.2.1:47808",)"
                                       R"("network":5,"mac":"0c","name":"","note":""},)" +
                                           object);
  EXPECT_EQ(run("make-project " + dir + "part.json").status, 7);  // a list that was saved as far as it was told
  EXPECT_EQ(run("--format csv links").out,
            "link,ip,desPort,deviceId,mode,network,points\n1,192.0.2.1,47808,77,1,5,1\n2,192.0.2.3,47808,78,2,0,1\n");
  const std::string xml = support::readFile(dir + "BACnetLabel.xml");
  EXPECT_NE(xml.find("<VirtualMac>12</VirtualMac>"), std::string::npos) << xml;
  EXPECT_NE(xml.find("<MacLen>1</MacLen>"), std::string::npos);
}

// A link without DeviceId is its address' device, and no other one.
TEST_F(Commissioning, ALinkThatTellsNoDeviceIsKnownByItsAddress) {
  const std::string dir = tool_.project.dir.project();
  tool_.project.dir.write("BACnetLabel.xml",
                          R"(<ProjectInfo><BACnet LinkID="1"><Ip>192.0.2.1</Ip></BACnet></ProjectInfo>)");
  const std::string rest =
      R"(,"name":"","note":""},"objects":[{"type":0,"instance":1,"name":"T","commandable":false}]})";
  tool_.project.dir.write("known.json", R"({"device":{"device":77,"address":"192.0.2.1:47808")" + rest);
  tool_.project.dir.write("zero.json", R"({"device":{"device":0,"address":"192.0.2.2:47808")" + rest);
  ASSERT_EQ(run("make-project " + dir + "zero.json " + dir + "known.json").status, 0);
  EXPECT_EQ(run("--format csv links").out,
            "link,ip,desPort,deviceId,mode,network,points\n1,192.0.2.1,0,0,0,0,1\n2,192.0.2.2,47808,0,0,0,1\n");
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
      {"objects 127.0.0.99", 5, "127.0.0.99: no answer; check its power"},
      {"objects 4194303", 2, "neither a device instance nor an address"},
      {"discover --bbmd 127.0.0.21 " + search(), 5, "does not answer to a registration"},
      {"discover --router nobody", 2, "--router 'nobody' is no address"},
      {"discover --from 77 --to 78 " + search(), 5, "no device has answered"},
      {"make-project /dev/null", 2, "/dev/null"},
      {"make-project " + std::string(300, 'a'), 2, "neither a device instance nor an address"},
      {"discover --timeout nan", 2, "nan is no number from 0.1 to 600"},
      {"make-project --type valve 127.0.0.21", 2, "there is no object type 'valve'"},
      {"check --report x.md", 2, "--report requires --live"},
      {"check --live --report x.txt", 2, "a report is a .md or a .csv file"},
      {"check --live --since /dev/null", 2, "/dev/null"},
      {"--link 9 check --live", 3, "the project file has no link 9"},
      {"objects 127.0.0.21 --compare /dev/null", 2, "/dev/null"},
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
