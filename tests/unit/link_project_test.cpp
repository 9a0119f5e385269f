#include <gtest/gtest.h>

#include <cstring>

#include "driver/bacnet_link.h"
#include "driver/local_address.h"
#include "driver/value_block.h"
#include "support/bus_peer.h"
#include "support/temp_dir.h"

namespace {

using driver::CBACnetLink;
using driver::SymbolRecord;

std::string symbol(const std::string& name, const std::string& regId, const std::string& dataType,
                   const std::string& propId = "85", const std::string& more = "") {
  return "<Symbol><Name>" + name + "</Name><RegId>" + regId + "</RegId><DataType>" + dataType + "</DataType><PropID>" +
         propId + "</PropID>" + more + "</Symbol>";
}

class LinkProject : public testing::Test {
 protected:
  LinkProject() { link.client.setSocketPath(peer.path()); }

  std::int32_t load(const std::string& xml, std::int32_t linkNumber = 3) {
    return link.loadProject(dir.write("BACnetLabel.xml", xml), linkNumber);
  }
  std::int32_t loadSymbols(const std::string& symbols) {
    return load("<ProjectInfo><Symbols LinkID='3'>" + symbols + "</Symbols></ProjectInfo>");
  }
  SymbolRecord find(const std::string& name) const {
    SymbolRecord record;
    EXPECT_EQ(link.findSymbol(name, record), 0) << name;
    return record;
  }

  const support::TempDir dir;
  support::BusPeer peer{dir.file("bus.sock"), [](const support::PeerRequest& request) {
                          return support::PeerAnswer(support::messageFrame({"x", "0"}, request.frame.identifier));
                        }};
  CBACnetLink link;
};

TEST_F(LinkProject, DataTypesGiveCodeSizeAndBlock) {
  const struct {
    const char* word;
    const char* propId;
    std::int32_t code;
    std::int32_t size;
    unsigned char inBlock;
  } cases[] = {
      {"BOOL", "1", 1, 1, 1},     {"UDINT", "85", 2, 4, 2},  {"UINT", "85", 3, 4, 3},    {"REAL", "85", 4, 4, 4},
      {"DOUBLE", "87", 5, 8, 5},  {"STRING", "85", 7, 1, 7}, {"", "85", -1, 4, 0xFF},    {"real", "85", -2, 4, 0xFE},
      {"BOOL", "85", 9, 1, 1},    {"BOOL", "87", 9, 1, 1},   {"REAL", "117", 9, 4, 4},   {"", "72", 9, 4, 0xFF},
      {"real", "72", 9, 4, 0xFE}, {"DOUBLE", "72", 9, 8, 5}, {"STRING", "117", 9, 1, 7},
  };
  std::string symbols;
  int regId = 0;
  for (const auto& example : cases) symbols += symbol("P", std::to_string(++regId), example.word, example.propId);
  ASSERT_EQ(loadSymbols(symbols), 0);

  regId = 0;
  for (const auto& example : cases) {
    const SymbolRecord record = find(std::to_string(++regId));
    EXPECT_EQ(record.dataType, example.code) << example.word << example.propId;
    EXPECT_EQ(record.dataSize, example.size) << example.word << example.propId;
    std::string block(static_cast<const char*>(record.valueBlock), 6800);
    EXPECT_EQ(static_cast<unsigned char>(block[2]), example.inBlock) << example.word;
    block[2] = 0;
    EXPECT_EQ(block, std::string(6800, '\0'));
  }
}

TEST_F(LinkProject, NamesLoseTheirIndex) {
  const struct {
    const char* text;
    const char* name;
    bool hasIndex;
    std::int32_t index;
  } cases[] = {
      {"Temp[3]", "Temp", true, 3},
      {"Temp", "Temp", false, -1},
      {"Temp[x]", "Temp", true, 0},
      {"Temp[ -4 ]", "Temp", true, -4},
      {"Temp[3", "Temp[3", false, -1},
      {"Temp]3", "Temp]3", false, -1},
      {"[7]", "", true, 7},
      {"A[1][2]", "A", true, 1},
      {"", "", false, -1},
      {"A[5x]", "A", true, 5},
      {"A[]", "A", true, 0},
  };
  std::string symbols;
  int regId = 0;
  for (const auto& example : cases) symbols += symbol(example.text, std::to_string(++regId), "REAL");
  ASSERT_EQ(loadSymbols(symbols), 0);
  regId = 0;
  for (const auto& example : cases) {
    const SymbolRecord record = find(std::to_string(++regId));
    EXPECT_EQ(record.name, example.name) << example.text;
    EXPECT_EQ(record.hasIndex, example.hasIndex) << example.text;
    EXPECT_EQ(record.arrayIndex, example.index) << example.text;
  }
}

TEST_F(LinkProject, TheLastLinkElementAndTheFirstPointOfANumberStay) {
  ASSERT_EQ(load("<ProjectInfo>"
                 "<Symbols LinkID='3'>" +
                 symbol("first", "7", "REAL") + symbol("again", "7", "BOOL") +
                 "</Symbols>"
                 "<BACnet LinkID='3'><Ip>1.1.1.1</Ip><DesPort>1</DesPort><EnableReadPropm>1</EnableReadPropm></BACnet>"
                 "<BACnet LinkID='4'><Ip>4.4.4.4</Ip></BACnet>"
                 "<BACnet LinkID='3'><Ip>2.2.2.2</Ip><SrcPort>0xBAC0</SrcPort><DeviceId>-5</DeviceId>"
                 "<EnableWritePropm>yes</EnableWritePropm><EnableSCOV>2</EnableSCOV><Mode>3</Mode>"
                 "<Network>70000</Network><MacLen>6</MacLen><VirtualMac>0a:0b</VirtualMac></BACnet>"
                 "<Symbols LinkID='4'>" +
                 symbol("other", "8", "REAL") +
                 "</Symbols>"
                 "<Symbols LinkID='3'>" +
                 symbol("more", "0x10", "REAL", "85",
                        "<ObjectType>2</ObjectType>"
                        "<Instance>77</Instance><BitNum>4</BitNum><PriorityReset>true</PriorityReset>") +
                 "</Symbols>"
                 "</ProjectInfo>"),
            0);
  EXPECT_EQ(link.ip, "2.2.2.2");
  EXPECT_EQ(link.desPort, 0);
  EXPECT_EQ(link.srcPort, 0xBAC0);
  EXPECT_EQ(link.deviceId, -5);
  EXPECT_FALSE(link.enableReadPropm);
  EXPECT_TRUE(link.enableWritePropm);
  EXPECT_EQ(link.enableSCOV, 2);
  EXPECT_EQ(link.mode, 3);
  EXPECT_EQ(link.network, 4464);
  EXPECT_EQ(link.macLen, 6);
  EXPECT_EQ(link.virtualMac, "0a:0b");
  EXPECT_EQ(link.symbols.size(), 2U);
  EXPECT_EQ(find("7").name, "first");
  const SymbolRecord more = find("16");
  EXPECT_EQ(more.objectType, 2);
  EXPECT_EQ(more.instance, 77);
  EXPECT_EQ(more.propId, 85);
  EXPECT_EQ(more.bitNum, 4);
  EXPECT_TRUE(more.priorityReset);

  // A second load adds points, and keeps the parameters of a link that the file does not have.
  ASSERT_EQ(load("<ProjectInfo><Symbols>" + symbol("zero", "-1", "REAL") + "</Symbols></ProjectInfo>", 0), 0);
  EXPECT_EQ(link.ip, "2.2.2.2");
  EXPECT_EQ(link.symbols.size(), 3U);
  EXPECT_EQ(link.symbols.rbegin()->first, 4294967295U);
  EXPECT_EQ(find("-1").regId, -1);
}

TEST_F(LinkProject, FilesThatCannotBeUsed) {
  EXPECT_EQ(link.loadProject("", 3), -1);
  EXPECT_EQ(link.loadProject(dir.file("missing.xml"), 3), -2);
  EXPECT_EQ(load("<ProjectInfo>"), -2);
  EXPECT_EQ(load("<Wrapper><ProjectInfo/></Wrapper>"), -3);
  EXPECT_TRUE(peer.requests().empty());
  EXPECT_EQ(load("<ProjectInfo/>"), 0);
  EXPECT_EQ(peer.requests().size(), 1U);
}

TEST_F(LinkProject, PointsAreFoundByTheNumberAtTheStartOfAName) {
  ASSERT_EQ(loadSymbols(symbol("P", "12", "STRING")), 0);
  for (const char* name : {"12", "12abc", " +12", "012"}) EXPECT_EQ(find(name).regId, 12) << name;
  SymbolRecord record;
  record.name = "untouched";
  for (const char* name : {"", "x", "abc", "13", "99999999999", "4294967295", "-"}) {
    EXPECT_EQ(link.findSymbol(name, record), -1) << name;
  }
  EXPECT_EQ(record.name, "untouched");
  EXPECT_EQ(find("12").valueBlock, link.symbols.begin()->second.valueBlock);  // copies share it
}

TEST(ValueBlock, AChainIsFreedBlockByBlock) {  // a leak or a double free shows under the address sanitizer
  void* first = driver::makeValueBlock(4);
  void* second = driver::makeValueBlock(5);
  std::memcpy(static_cast<char*>(first) + 6792, &second, sizeof(second));
  driver::freeValueBlocks(first);
  driver::freeValueBlocks(nullptr);
}

TEST(LocalAddress, IsWrittenOnSuccessOnly) {
  std::string ip = "before";
  for (const char* name : {"", "no_such_if", "sixteen_letters_", "a name of more than sixteen letters"}) {
    EXPECT_EQ(driver::getLocalIpAddress(name, ip), -2) << name;
    EXPECT_EQ(ip, "before");
  }
  EXPECT_EQ(driver::getLocalIpAddress("lo", ip), 0);
  EXPECT_EQ(ip, "127.0.0.1");
}

}  // namespace
