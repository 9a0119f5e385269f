#include <gtest/gtest.h>

#include <chrono>
#include <iterator>
#include <optional>
#include <regex>
#include <string>

#include "io/event_loop.h"
#include "io/udp_datagrams.h"
#include "support/device_program.h"
#include "support/page.h"
#include "support/tool.h"

// The steps of doctor that ask the link's device: a virtual one on an address of the loopback, on a port that nobody
// else has.
namespace {

using support::replaced;
using support::Tool;

const std::string kUnshare = geteuid() == 0 ? "unshare " : "unshare --map-root-user ";
const std::string kWithLoopbackOnly = kUnshare + "--net sh -c 'ip link set lo up && exec \"$@\"' sh ";
constexpr const char* kDead = "dead";  // behaviour of a device that is not there

class DoctorAtDevice : public testing::Test {
 protected:
  DoctorAtDevice() { support::installHelper(tool_.project.dir.project(), BIN_DIR "/BACnet_Velix"); }
  ~DoctorAtDevice() override {
    if (tool_.project.signalHelper(SIGTERM)) tool_.project.awaitEnd();  // in order: it frees the lock of its port
  }

  // The link's elements as in the example, on the loopback, and `from` replaced.
  void writeProject(const std::string& from = "", const std::string& to = "") {
    if (original_.empty()) original_ = support::readFile(tool_.project.dir.file("BACnetLabel.xml"));
    std::string xml = replaced(original_, "192.168.10.", "127.0.0.");
    xml = replaced(xml, "47808</DesPort>", port_ + "</DesPort>");
    if (!from.empty()) xml = replaced(xml, from, to);
    tool_.project.dir.write("BACnetLabel.xml", xml);
  }
  std::string device(const std::string& ip, const std::string& behaviour) const {
    const std::string file = tool_.project.dir.write("behaviour" + ip + ".json", behaviour);
    return "--project " SOURCE_DIR "/examples/plant --still --link 1 --address " + ip + " --port " + port_ +
           " --behaviour " + file;
  }
  // Without a plug-in no helper is started, and nobody else asks the device.
  Tool::Run run(const std::string& before = "") const {
    return tool_.shell(before + "$TOOL --plugin /none.so --link $LINK --interface lo --format json doctor");
  }
  static std::string lineOf(const std::string& step, const std::string& out) {
    const std::size_t begin = out.find("{\"step\":\"" + step + "\"");
    return begin == std::string::npos ? "" : out.substr(begin, out.find('\n', begin) - begin);
  }

  const Tool tool_;
  io::CEventLoop loop_;
  const io::CUdpDatagrams broadcasts_{loop_, {{0x7FFFFFFF, 0}, true, {}}};  // keeps the port for this test
  const std::string port_ = std::to_string(broadcasts_.local().port);

 private:
  std::string original_;
};

TEST_F(DoctorAtDevice, ShowsWhatItsPageShows) {
  const support::DeviceProgram device(this->device("127.0.0.21", "{}"));
  ASSERT_NE(device.readyLine(), "") << device.err();
  std::size_t shown = 0;
  for (const support::Example& example : support::examplesOf(support::readFile(SOURCE_DIR "/docs/hmi-host.md"))) {
    const std::string arguments = replaced(example.command, "hmi-host --project /opt/plant --interface eth0 ", "");
    if (arguments.rfind("doctor | tail", 0) != 0) continue;
    const bool isWrong = example.output.find("not 3009") != std::string::npos;
    writeProject("3001</DeviceId>", isWrong ? "3009</DeviceId>" : "3001</DeviceId>");
    std::string out = tool_.shell("$TOOL --link $LINK --interface lo " + arguments).out;
    out = std::regex_replace(out, std::regex("shared with [^\n]*"), "shared with BACnet_Velix (process 1)");
    EXPECT_EQ(support::shapeOf(replaced(out, " lo ", " eth0 ")), support::shapeOf(example.output)) << out;
    ++shown;
  }
  EXPECT_EQ(shown, 2U);
}

/// What is wrong, and what the doctor has to say about it.
struct Illness {
  const char* step;
  const char* status;
  std::string detail;
  std::string remedy;
  std::string behaviour = "{}";
  std::string from = {};  // the project's text
  std::string to = {};
  std::string file = {};  // of the project directory
  std::string content = {};
  bool hasTwin = false;     // another device has the number
  std::string before = {};  // the command
  bool isOfClosedPort = false;
};

constexpr const char* kIp = "<Ip>127.0.0.21</Ip>";
const Illness kIllnesses[] = {
    {"UDP port", "warning", "$TAKEN belongs to $PROGRAM (process ", "end that program", "{}", "47808</SrcPort>",
     "$TAKEN</SrcPort>"},
    {"UDP port", "warning", "192.0.2.255 is that of no interface", "leave it out", kDead, "", "", "helper.json",
     R"({"broadcast":"192.0.2.255"})", false, kWithLoopbackOnly},
    {"UDP port", "failed", "Mode 1 needs the Network", "hmi-host check", "{}", "<Mode>0<", "<Mode>1<"},
    {"route", "failed", "there is no route to 192.0.2.7", "ip route", kDead, kIp, "<Ip>192.0.2.7</Ip>", "", "", false,
     kWithLoopbackOnly},
    {"route", "failed", "127.255.255.255 is a broadcast address", "one device", kDead, kIp, "<Ip>127.255.255.255</Ip>"},
    {"route", "failed", "the BBMD 127.0.0.21:$PORT does not answer to a registration", "foreign devices", "{}",
     "<Mode>0<", "<Mode>2<"},
    {"route", "failed", "the BBMD 127.0.0.21:$PORT is not there", "foreign devices", kDead, "<Mode>0<", "<Mode>2<", "",
     "", false, "", true},
    {"route", "warning", "the router does not say that it leads to network 5", "compare Ip and Network", "{}",
     "<Network>0<", "<Network>5<"},
    {"route", "failed", "no router says that it leads to network 5", "check Network", "{}",
     "<Ip>127.0.0.21</Ip>\n    <DesPort>$PORT</DesPort>", "<Network>5</Network><DesPort>$PORT</DesPort>"},
    {"peer", "failed", "nobody listens at its UDP port $PORT", "check DesPort", kDead, "", "", "", "", false, "", true},
    {"peer", "failed", "127.0.0.21:$PORT does not answer", "check Ip", R"({"faults":[{"silence":true}]})"},
    {"I-Am", "failed", "device 3001 is at 127.0.0.21:$PORT, not 3009", "write 3001 as DeviceId", "{}",
     "3001</DeviceId>", "3009</DeviceId>"},
    {"I-Am", "failed", "not 3001, which is at 127.0.0.24:$PORT", "the right device's address", R"({"deviceId":77})", "",
     "", "", "", true},
    {"I-Am", "warning", "and another one of that number at 127.0.0.24:$PORT", "a number of its own", "{}", "", "", "",
     "", true},
    {"I-Am", "failed", "and another one of that number at 127.0.0.24:$PORT", "a number of its own", "{}", kIp, "", "",
     "", true},
    {"I-Am", "failed", "no device says that it is 3001", "--interface", kDead, kIp, ""},
    {"services", "warning", "no ReadPropertyMultiple, no SubscribeCOV; ReadProperty, WriteProperty, ",
     "EnableSCOV to 0", R"({"readMultiple":false,"cov":false})"},
    {"APDU", "ok", "50 octets, no segments: 2 points a request", "", R"({"maxApdu":50,"segmentation":"none"})"},
    {"one read", "failed", "unknown-object (31)", "'hmi-host objects'", "{}", "<Instance>1<", "<Instance>4711<"},
    {"one batch", "warning", "2 points a request only", "divided",
     R"({"faults":[{"service":"read-property-multiple","abort":1,"times":1}]})"},
    {"one batch", "skipped", "EnableReadPropm is false", "", "{}", "<EnableReadPropm>true", "<EnableReadPropm>false"},
    {"one subscription", "warning", "no-space-to-add-list-element", "polled", R"({"maxSubscriptions":0})"},
    {"one subscription", "warning", "no notification has come", "a firewall",
     R"({"faults":[{"service":"unconfirmed-cov-notification","lose":true}]})"},
    {"one subscription", "ok", "cancelled again", "", "{}", "<EnableSCOV>1<", "<EnableSCOV>2<"},
};

class DoctorAtIllDevice : public DoctorAtDevice, public testing::WithParamInterface<std::size_t> {
 protected:
  // In a text of the table.
  std::string filledIn(const std::string& text) const {
    std::string program = support::readFile("/proc/self/comm");  // an emulator's, maybe
    program.pop_back();
    return replaced(replaced(replaced(text, "$PORT", port_), "$TAKEN", std::to_string(greedy_.local().port)),
                    "$PROGRAM", program);
  }

  const io::CUdpDatagrams greedy_{loop_, {{io::kAnyIp, 0}, false, {}}};  // a port that is not shared
};

TEST_P(DoctorAtIllDevice, NamesWhatIsWrongAndARemedy) {
  const Illness& illness = kIllnesses[GetParam()];
  if (!illness.before.empty() && std::system((kUnshare + "--net true").c_str()) != 0)
    GTEST_SKIP() << "this machine gives nobody a network of his own";
  if (illness.isOfClosedPort && !std::string(EMULATOR).empty())
    GTEST_SKIP() << "the emulator does not hand on what the kernel says of closed ports";
  writeProject(filledIn(illness.from), filledIn(illness.to));
  if (!illness.file.empty()) tool_.project.dir.write(illness.file, illness.content);
  std::optional<support::DeviceProgram> device;
  std::optional<support::DeviceProgram> twin;
  if (illness.behaviour != kDead) device.emplace(this->device("127.0.0.21", illness.behaviour));
  if (illness.hasTwin) twin.emplace(this->device("127.0.0.24", "{}"));
  for (const auto* each : {&device, &twin}) {
    if (*each) {
      ASSERT_NE((*each)->readyLine(), "") << (*each)->err();
    }
  }
  const auto run = this->run(illness.before);
  const std::string line = lineOf(illness.step, run.out);
  EXPECT_NE(line.find(R"("status":")" + std::string(illness.status) + "\""), std::string::npos) << run.out;
  EXPECT_NE(line.find(filledIn(illness.detail)), std::string::npos) << illness.detail << '\n' << run.out;
  EXPECT_NE(line.find(illness.remedy), std::string::npos) << line;
}

INSTANTIATE_TEST_SUITE_P(Illnesses, DoctorAtIllDevice, testing::Range<std::size_t>(0, std::size(kIllnesses)));

// The device has room for one: a second examination gets it only when the first has given it back.
TEST_F(DoctorAtDevice, LeavesNoSubscriptionBehind) {
  writeProject();
  const support::DeviceProgram device(this->device("127.0.0.21", R"({"maxSubscriptions":1})"));
  ASSERT_NE(device.readyLine(), "") << device.err();
  for (int i = 0; i < 2; ++i)
    EXPECT_NE(lineOf("one subscription", run().out).find("cancelled again"), std::string::npos) << i;
}

TEST_F(DoctorAtDevice, EndsAtOnceWithCtrlC) {
  writeProject();
  const support::DeviceProgram device(this->device("127.0.0.21", R"({"faults":[{"silence":true}]})"));
  ASSERT_NE(device.readyLine(), "") << device.err();
  ASSERT_EQ(tool_.shell("$TOOL --link $LINK --interface lo read 1").status, 7);  // starts the helper
  const auto begin = std::chrono::steady_clock::now();
  const auto run = this->run("timeout --foreground --preserve-status -s INT 1 ");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3));
  EXPECT_EQ(run.status, 130);
  EXPECT_NE(lineOf("route", run.out), "") << run.out;
  EXPECT_EQ(lineOf("peer", run.out), "");
}

}  // namespace
