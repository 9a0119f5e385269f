#include "plant/check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/temp_dir.h"

namespace {

using plant::Problem;
using plant::Severity;
using testing::ElementsAre;
using testing::IsEmpty;

// "5 error Temp: text", one for each problem.
std::vector<std::string> problemsOf(const std::string& xml) {
  const support::TempDir dir;
  std::vector<Problem> problems;
  std::string error;
  EXPECT_EQ(plant::checkProject(dir.write("BACnetLabel.xml", xml), problems, error), 0) << error;
  std::vector<std::string> lines;
  for (const Problem& each : problems) {
    EXPECT_FALSE(each.remedy.empty()) << each.text;
    lines.push_back(std::to_string(each.line) + (each.severity == Severity::kError ? " error " : " warning ") +
                    each.where + ": " + each.text);
  }
  return lines;
}

std::string projectOf(const std::string& bacnet, const std::string& symbols) {
  return "<ProjectInfo>\n<BACnet LinkID=\"1\">" + bacnet + "</BACnet>\n<Symbols LinkID=\"1\">" + symbols +
         "</Symbols></ProjectInfo>";
}

// A point on a line of its own, from line 4 on; later elements of a kind stand behind the earlier ones.
std::string symbol(int regId, const std::string& name, int property, const std::string& more = "",
                   const std::string& type = "REAL") {
  return "\n<Symbol><Name>" + name + "</Name><RegId>" + std::to_string(regId) +
         "</RegId><ObjectType>2</ObjectType><Instance>1</Instance><PropID>" + std::to_string(property) +
         "</PropID><DataType>" + type + "</DataType>" + more + "</Symbol>";
}

const std::string kDevice = "<Ip>10.0.0.1</Ip>";
const std::string kPoint = symbol(1, "Temp", 85);

struct Case {
  std::string xml;
  std::string problem;  // empty: none
};

TEST(PlantCheck, FindsEachMistakeInALinksParameters) {
  const std::string router = kDevice + "<Mode>1</Mode>";
  const Case cases[] = {
      {kDevice, ""},
      {"<DeviceId>4194302</DeviceId>", ""},
      {kDevice + "<DeviceId>-1</DeviceId>", ""},
      {kDevice + "<DesPort>0xBAC0</DesPort><SrcPort> 47809 </SrcPort>", ""},
      {router + "<Network>5</Network><MacLen>1</MacLen><VirtualMac>255</VirtualMac>", ""},
      {router + "<Network>5</Network><MacLen>1</MacLen><VirtualMac>0A</VirtualMac>", ""},
      {router + "<Network>5</Network><MacLen>6</MacLen><VirtualMac>10.0.0.7:47808</VirtualMac>", ""},
      {router + "<Network>5</Network><VirtualMac>00:1b-2C</VirtualMac>", ""},
      {"<Network>5</Network><DeviceId>7</DeviceId>", ""},
      {"", "neither Ip nor DeviceId tells the device"},
      {"<DeviceId>4194303</DeviceId>", "neither Ip nor DeviceId tells the device"},
      {"<Ip>10.0.0.1.</Ip>", "Ip '10.0.0.1.' is no IPv4 address"},
      {"<Ip>239.0.0.1</Ip>", "Ip 239.0.0.1 is no single device's address"},
      {kDevice + "<DesPort>65536</DesPort>", "DesPort 65536 is out of range"},
      {kDevice + "<SrcPort>47808x</SrcPort>", "SrcPort '47808x' is no whole number; 47808 is taken"},
      {kDevice + "<DeviceId>4194304</DeviceId>", "DeviceId 4194304 is out of range"},
      {kDevice + "<EnableSCOV>3</EnableSCOV>", "EnableSCOV 3 is out of range"},
      {kDevice + "<Mode>3</Mode>", "Mode 3 is out of range"},
      {kDevice + "<Network>65535</Network>", "Network 65535 is out of range"},
      {kDevice + "<MacLen>-1</MacLen>", "MacLen -1 is out of range"},
      {router, "Mode 1 needs the number of the network behind the router"},
      {"<Mode>2</Mode><DeviceId>7</DeviceId>", "Mode 2 needs the address of the BBMD"},
      {kDevice + "<Mode>2</Mode>", "DeviceId does not tell the device"},
      {kDevice + "<Network>5</Network>", "neither VirtualMac nor DeviceId tells the device behind the router"},
      {router + "<Network>5</Network><MacLen>6</MacLen><VirtualMac>0a</VirtualMac>",
       "VirtualMac has 1 octets, MacLen says 6"},
      {router + "<Network>5</Network><MacLen>1</MacLen><VirtualMac>256</VirtualMac>", "VirtualMac '256' is no address"},
      {router + "<Network>5</Network><VirtualMac>0a1</VirtualMac>", "VirtualMac '0a1' is no address"},
      {kDevice + "<VirtualMac>0a</VirtualMac>", "VirtualMac has no effect while Network is 0"},
      {kDevice + "<EnableReadPropm>on</EnableReadPropm>", "EnableReadPropm 'on' is taken as false"},
      {kDevice + kDevice, "Ip is there already, in line 2, which counts"},
      {kDevice + "<desport>1</desport>", "nothing reads the element desport"},
      {kDevice + "<Mode><b/>0</Mode>", "nothing reads the element b"},
      {kDevice + "10.0.0.2", "nothing reads the text '10.0.0.2'"},
  };
  for (const Case& each : cases) {
    std::vector<std::string> problems = problemsOf(projectOf(each.xml, kPoint));
    if (each.problem.empty()) {
      EXPECT_THAT(problems, IsEmpty()) << each.xml;
      continue;
    }
    ASSERT_EQ(problems.size(), 1U) << each.xml << testing::PrintToString(problems);
    EXPECT_EQ(problems[0].substr(problems[0].find(": ") + 2), each.problem);
    EXPECT_EQ(problems[0].substr(0, 2), "2 ");
  }
}

TEST(PlantCheck, FindsEachMistakeInAPoint) {
  const Case cases[] = {
      {symbol(2, "A", 85, "<BitNum>0</BitNum><PriorityReset>true</PriorityReset>"), ""},
      {symbol(2, "A[16]", 87), ""},
      {symbol(2, "A[0]", 87, "", "UINT"), ""},
      {symbol(2, "A", 87, "", "STRING"), ""},
      {symbol(1, "A", 85), "5 error A: RegId 1 is that of 'Temp' in line 4; this point is dropped"},
      {symbol(2, "Temp", 85), "5 warning Temp: RegId 1 in line 4 has the same name"},
      {symbol(2, "", 85), "5 warning Symbol: the point has no Name"},
      {symbol(2, "A[x]", 85), "5 warning A[0]: the brackets of 'A[x]' hold no index; A[0] is taken"},
      {symbol(2, "A[3]b", 85), "5 warning A[3]: the brackets of 'A[3]b' hold no index; A[3] is taken"},
      {symbol(2, "A", 85, "", "Real"), "5 error A: DataType 'Real' is none; the value is shown raw"},
      {symbol(2, "A", 85, "", ""), "5 warning A: the point has no DataType; its value is shown raw"},
      {symbol(2, "A[17]", 87), "5 error A[17]: there is no priority 17"},
      {symbol(2, "A[6]", 87),
       "5 warning A[6]: priority 6 is the device's own, for minimum on and off times; writes are refused"},
      {symbol(2, "A", 87), "5 warning A: a whole priority array is read as text, which is no REAL"},
      {symbol(2, "A", 4194304), "5 error A: PropID 4194304 is out of range"},
      {symbol(2, "A", 85, "<BitNum>256</BitNum>"), "5 error A: BitNum 256 is out of range"},
      {symbol(2, "A", 85, "<PropID>1</PropID>"), "5 warning A: PropID is there already, in line 5, which counts"},
      {symbol(2, "A", 85, "<Comment/>"), "5 warning A: nothing reads the element Comment"},
      {symbol(2, "A", 103, "<PriorityReset>1</PriorityReset>"), "5 error A: property 103 has no priority to release"},
      {"\n<Symbol><Name>A</Name><RegId>2</RegId><ObjectType>1024</ObjectType><Instance>1</Instance>"
       "<PropID>85</PropID><DataType>BOOL</DataType></Symbol>",
       "5 error A: ObjectType 1024 is out of range"},
      {"\n<Symbol><Name>A</Name><RegId>2</RegId><ObjectType>0</ObjectType><Instance>4194303</Instance>"
       "<PropID>85</PropID><DataType>BOOL</DataType></Symbol>",
       "5 error A: Instance 4194303 is out of range"},
      {"\n<Symbol><Name>A</Name><RegId>2</RegId><ObjectType>4</ObjectType><Instance>9</Instance>"
       "<PropID>85</PropID><DataType>BOOL</DataType><PriorityReset>true</PriorityReset></Symbol>",
       "5 warning A: every write releases the priority, and no other point writes this object: values are lost"},
      {"\n<symbol/>", "5 error Symbols: nothing reads the element symbol"},
  };
  for (const Case& each : cases) {
    const std::vector<std::string> problems = problemsOf(projectOf(kDevice, kPoint + each.xml));
    if (each.problem.empty())
      EXPECT_THAT(problems, IsEmpty()) << each.xml;
    else
      EXPECT_THAT(problems, ElementsAre(each.problem)) << each.xml;
  }
}

TEST(PlantCheck, FindsLinksThatDoNotCloseUp) {
  const std::string link = "\">\n" + kDevice + "</BACnet>\n";
  const std::string points = "\">" + kPoint + "</Symbols>";
  const auto withLinkId = [&](const std::string& text) {
    return problemsOf("<ProjectInfo><BACnet LinkID=\"" + text + link + "<Symbols LinkID=\"" + text + points +
                      "</ProjectInfo>");
  };
  EXPECT_THAT(withLinkId("7"), IsEmpty());
  for (const char* odd : {"0x7", "07", " 7", "+7"})
    EXPECT_THAT(withLinkId(odd), testing::Each(testing::EndsWith("is not written as a plain number; link 7 is taken")));
  for (const char* none : {"", "7a", "7.0", "-7", "4294967303", "seven"})
    EXPECT_THAT(withLinkId(none), testing::Each(testing::HasSubstr("is no link's number; link "))) << none;

  EXPECT_THAT(
      problemsOf("<ProjectInfo><BACnet LinkID=\"1" + link + "<BACnet LinkID=\"1" + link + "<Symbols LinkID=\"2" +
                 points + "<Points/></ProjectInfo><Other/>"),
      ElementsAre("3 warning BACnet: the link's parameters stand in line 1 already; these here count, all of them",
                  "3 warning BACnet: link 1 has no points", "5 error Symbols: link 2 has points, but no BACnet element",
                  "6 error ProjectInfo: nothing reads the element Other outside of ProjectInfo",
                  "6 warning ProjectInfo: nothing reads the element Points"));
}

TEST(PlantCheck, FindsTwoLinksWithOneDevice) {
  const std::string number = "3 warning BACnet: DeviceId 7 is that of link 1 in line 2, too";
  const std::string address = "3 warning BACnet: the device's address is that of link 1 in line 2, too";
  const std::string routed = kDevice + "<Mode>1</Mode><Network>5</Network><VirtualMac>";
  const struct {
    std::string first, second, problem;
  } cases[] = {
      {kDevice + "<DeviceId>7</DeviceId>", "<Ip>10.0.0.2</Ip><DeviceId>7</DeviceId>", number},
      {kDevice + "<DeviceId>7</DeviceId>", "<DeviceId>0x7</DeviceId>", number},
      {kDevice + "<DeviceId>7</DeviceId>", kDevice + "<DeviceId>8</DeviceId>", address},
      {kDevice, kDevice + "<DesPort>47808</DesPort>", address},
      {kDevice, kDevice + "<DesPort>47809</DesPort>", ""},
      {routed + "0a1B</VirtualMac>", routed + "0A-1b</VirtualMac>", address},
      {routed + "0a</VirtualMac>", routed + "0b</VirtualMac>", ""},
      {routed + "</VirtualMac><DeviceId>7</DeviceId>", routed + "</VirtualMac><DeviceId>8</DeviceId>", ""},
      {kDevice + "<Mode>2</Mode><DeviceId>7</DeviceId>", kDevice + "<Mode>2</Mode><DeviceId>8</DeviceId>", ""},
  };
  for (const auto& each : cases) {
    std::string xml = "<ProjectInfo>\n";
    for (const auto* link : {&each.first, &each.second})
      xml += "<BACnet LinkID=\"" + std::to_string(link == &each.first ? 1 : 2) + "\">" + *link + "</BACnet>\n";
    for (const char* link : {"1", "2"}) xml += "<Symbols LinkID=\"" + std::string(link) + "\">" + kPoint + "</Symbols>";
    const auto problems = problemsOf(xml + "</ProjectInfo>");
    EXPECT_EQ(problems.empty() ? "" : problems[0], each.problem) << each.second;
    EXPECT_LE(problems.size(), 1U);
  }
}

TEST(PlantCheck, CountsLinesInEveryEncodingAndRefusesWhatIsNoProject) {
  std::string wide("\xFF\xFE", 2);
  for (const char letter : "<ProjectInfo>\r\n\r\n<Odd/></ProjectInfo>") wide += {letter, '\0'};
  wide.resize(wide.size() - 2);
  EXPECT_THAT(problemsOf(wide), ElementsAre("1 warning ProjectInfo: the project has no link",
                                            "3 warning ProjectInfo: nothing reads the element Odd"));

  const support::TempDir dir;
  std::vector<Problem> problems;
  std::string error;
  EXPECT_EQ(plant::checkProject(dir.file("none"), problems, error), -1);
  EXPECT_EQ(plant::checkProject(dir.write("cut", "<ProjectInfo>\n<BACnet>\n</ProjectInfo>"), problems, error), -2);
  EXPECT_THAT(error, testing::HasSubstr("cut: line 3: "));
  EXPECT_EQ(plant::checkProject(dir.write("other", "<Project/>"), problems, error), -3);
  EXPECT_THAT(problems, IsEmpty());
}

}  // namespace
