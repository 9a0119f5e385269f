#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/frame_encoder.h"
#include "support/golden.h"

namespace {

using support::encodeBody;
using support::lz4Frame;
using support::messageFrame;
using Seeds = std::vector<std::string>;

Seeds bodySeeds() {
  return {encodeBody({"func@bac_read", "7", "4"}),
          encodeBody({"func@bac_multi_read", "2", "7", "4", "9", "2"}),
          encodeBody({"x", "0", "16384,0"}),
          encodeBody({"x", "0", "1,,2,", "-3,70000"}),
          encodeBody({"x", "-9"}),
          encodeBody({"", "\r\n", std::string("\0*$", 3)}),
          "*0\r\n",
          "*-1\r\n",
          "*+1\r\n$01\r\na\r\n"};
}

Seeds frameSeeds() {
  const std::string words(2000, '7');
  return {messageFrame({"func@bac_read", "7", "4"}, 1),
          messageFrame({"x", "0", "16384,0"}, 0xFFFFFFFFU),
          messageFrame({"x", "0", words}, 3, 1, true),
          messageFrame({"x"}, 4, 15),
          support::encodeFrame("", {}),
          "noise" + messageFrame({"x", "0"}, 6)};
}

Seeds lz4Seeds() {
  LZ4F_preferences_t checked{};
  checked.frameInfo.contentChecksumFlag = LZ4F_contentChecksumEnabled;
  checked.frameInfo.blockChecksumFlag = LZ4F_blockChecksumEnabled;
  checked.frameInfo.blockMode = LZ4F_blockIndependent;
  LZ4F_preferences_t sized{};
  sized.frameInfo.contentSize = 3000;
  return {lz4Frame(""), lz4Frame("abc"), lz4Frame(std::string(3000, 'a')), lz4Frame(std::string(3000, 'b'), &checked),
          lz4Frame(std::string(3000, 'c'), &sized)};
}

Seeds projectSeeds() {
  const std::string link =
      "<BACnet LinkID=\"1\"><Ip>127.0.0.1</Ip><DesPort>47808</DesPort><EnableReadPropm>true"
      "</EnableReadPropm><Network>65536</Network><VirtualMac>0a</VirtualMac></BACnet>";
  Seeds seeds;
  for (const char* type : {"", "BOOL", "UDINT", "UINT", "REAL", "DOUBLE", "STRING", "other"}) {
    seeds.push_back("<?xml version=\"1.0\"?><ProjectInfo>" + link +
                    "<Symbols LinkID=\"1\"><Symbol><Name>Temp[3]</Name><RegId>-7</RegId><ObjectType>2</ObjectType>"
                    "<Instance>9</Instance><PropID>85</PropID><DataType>" +
                    type + "</DataType><BitNum>1</BitNum><PriorityReset>1</PriorityReset></Symbol></Symbols>" +
                    "</ProjectInfo>");
  }
  return seeds;
}

Seeds edeSeeds() {
  const std::string list =
      "PROJECT_NAME;P\n# keyname;device obj.-instance;object-name;object-type;object-instance;settable;"
      "state-text-reference\nA;7;\"N;\"\"1\"\"\";0;1;Y;2\nA;7;N;13;4194302;N;\nB;;;200;1\n";
  std::string wide = "\xFF\xFE";
  for (const char each : list) wide += {each, '\0'};
  return {list, wide, "7;Off;On\n",
          "record,link,regId,name,objectType,instance,propId,dataType,bitNum,priorityReset,ip,network\n"
          "link,1,,,,,,,,,10.0.0.1,65536\npoint,1,,\"A[3]\",0,1,85,REAL,0,true\npoint,2,5,B,0,1,87,STRING,1,0\n"};
}

Seeds replySeeds() {
  Seeds seeds;
  for (const char points : {'\0', '\2', '\x0f'}) {
    for (const std::string& body : bodySeeds()) seeds.push_back(points + body);
  }
  for (const std::string& frame : frameSeeds()) seeds.push_back('\x81' + frame);
  return seeds;
}

Seeds datagramSeeds() {
  Seeds seeds;
  for (const auto& golden : support::goldenDatagrams()) seeds.push_back(golden.bytes);
  return seeds;
}

// What is behind the shortest headers there are.
Seeds apduSeeds() {
  constexpr std::size_t kHeaderOctets = 6;
  Seeds seeds;
  for (const std::string& datagram : datagramSeeds()) {
    if (datagram.size() > kHeaderOctets && datagram[kHeaderOctets - 1] < 8) {
      seeds.push_back(datagram.substr(kHeaderOctets));
    }
  }
  return seeds;
}

Seeds requestSeeds() {
  return {encodeBody({"func@bac_read", "4", "4"}), encodeBody({"func@bac_connect"}),
          encodeBody({"func@bac_write", "6", "8", "18533", "24948"}),
          encodeBody({"func@bac_multi_read", "3", "1", "1", "5", "8", "6", "512"}),
          encodeBody({"func@bac_multi_write", "2", "2", "4", "-1,-1", "1", "1", "1"})};
}

Seeds ruleSeeds() {
  return {R"([{"function":"bac_read","regId":7,"after":1,"times":2,"garbage":"0x00ff"}])",
          R"([{"function":"*","kill":"after"},{"function":"func@bac_connect","code":-9}])",
          R"([{"function":"*","foreignType":15},{"function":"*","pieces":3},{"function":"*","half":true}])"};
}

// Messages over a line that loses, doubles and delays; then one side alone.
Seeds segmentSeeds() {
  Seeds seeds;
  for (const char window : {'\1', '\4', '\x10'}) {
    std::string transfer = {'\2', '\7', window, '\x64', '\3'};
    for (char fate = 0; fate < 40; ++fate) transfer += {static_cast<char>(fate % 7), fate};
    seeds.push_back(transfer);
  }
  seeds.emplace_back("\0\x20\x19\0\4abc\x19\1\4def\x18\2\4ghi", 19);
  seeds.emplace_back("\1\1\x10\0\0\x10\0\x10\x10\1\x10\x10", 12);
  return seeds;
}

// A point of each type, and a value of each tag that the device has.
Seeds valueSeeds() {
  constexpr const char* kAnswers[] = {"00",         "11",
                                      "2107",       "350580ffffffff",
                                      "4441ac0000", "55083fb999999999999a",
                                      "620ff0",     "7505004bc3bc65",
                                      "8204a0",     "9101",
                                      "a47e0b16ff", "b40c1effff",
                                      "c402001267", "21012102",
                                      "0e21010f",   "d107"};
  Seeds seeds;
  for (char type = 0; type < 7; ++type) {
    for (const char* hex : kAnswers) {
      const std::string answer = support::bytesOfHex(hex);
      const auto tag = static_cast<char>(static_cast<unsigned char>(answer.front()) >> 4U);
      seeds.push_back(std::string{'\x55', type, '\x41', '\x0f', tag, '\2', '\x41', '\xac', '\0', '\0'} + answer);
    }
  }
  return seeds;
}

Seeds helperOptionSeeds() {
  return {R"({"batch": "strict", "priority": 10, "faultCode": true, "ownPort": false, "readAheadMs": 0})",
          R"({"broadcast": "192.0.2.255", // here
              "priority": 6})",
          R"({"bach": "strict"})", "[]", "{}"};
}

void write(const std::filesystem::path& directory, const Seeds& seeds) {
  std::filesystem::create_directories(directory);
  for (std::size_t i = 0; i < seeds.size(); ++i) {
    std::ofstream file(directory / ("seed_" + std::to_string(i)), std::ios::binary);
    file << seeds[i];
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.flush();
  }
}

}  // namespace

// fuzz_seeds DIRECTORY: writes a folder of inputs for each fuzzer, named like it.
int main(int argc, char** argv) {
  if (argc != 2) return 2;
  try {
    const std::filesystem::path directory = argv[1];
    write(directory / "body", bodySeeds());
    write(directory / "frame", frameSeeds());
    write(directory / "lz4", lz4Seeds());
    write(directory / "cmdline", {"a \"b c\" d", "\"\" \"x", "a\"b c\"", "\"a\nb\" c", "\t\v\f\r\n", "\"a\"\"b\""});
    write(directory / "project", projectSeeds());
    write(directory / "check", projectSeeds());
    write(directory / "ede", edeSeeds());
    write(directory / "reply", replySeeds());
    write(directory / "request", requestSeeds());
    write(directory / "rules", ruleSeeds());
    write(directory / "datagram", datagramSeeds());
    write(directory / "apdu", apduSeeds());
    write(directory / "segment", segmentSeeds());
    write(directory / "value", valueSeeds());
    write(directory / "helper_options", helperOptionSeeds());
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
  }
  return 0;
}
