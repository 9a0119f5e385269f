#include <gtest/gtest.h>
#include <zlib.h>

#include <chrono>
#include <optional>
#include <random>
#include <regex>
#include <set>
#include <thread>

#include "cbl/bus/bus_protocol.h"
#include "cbl/bus/crc32.h"
#include "cbl/bus/receive_buffer.h"
#include "cbl/bus/velix_message.h"
#include "cbl/z/lz4_buffer.h"
#include "support/frame_encoder.h"
#include "support/process_state.h"
#include "support/temp_dir.h"

namespace {

using support::encodeBody;
using support::encodeFrame;
using support::FrameFields;
using Strings = std::vector<std::string>;
using namespace std::string_literals;

const Strings kElements = {"func@bac_read", "7", "4"};
constexpr std::uint64_t kNewYear2026 = 1767225600000000;
constexpr std::size_t kTimestampAt = 12;
constexpr std::size_t kBodyLengthAt = 20;
constexpr std::size_t kBodyAt = 24;

// The frame printed in the bus's documentation.
std::string goldenFrame() {
  const std::string document = support::readFile(SOURCE_DIR "/docs/bus-protocol.md");
  std::smatch block;
  if (!std::regex_search(document, block, std::regex("```hex\n([0-9a-f \n]+)```"))) return "";
  std::istringstream digits(block[1].str());
  std::string frame;
  for (int byte = 0; digits >> std::hex >> byte;) frame += static_cast<char>(byte);
  return frame;
}

std::int32_t lengthOf(const std::string& bytes) {
  return static_cast<std::int32_t>(bytes.size());
}

std::string randomText(std::size_t length, unsigned alphabet) {
  std::mt19937 random(4711);
  std::string text(length, '\0');
  for (char& c : text) c = static_cast<char>(random() % alphabet);
  return text;
}

std::uint64_t now() {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch).count());
}

class Frame : public testing::Test {
 protected:
  std::int32_t unpack(const std::string& frame) {
    const std::vector<char> exact(frame.begin(), frame.end());  // no terminating zero to read by mistake
    return protocol.unpack(exact.data(), lengthOf(frame), info);
  }
  std::int32_t find(const std::string& bytes) { return protocol.findAndUnpack(bytes.data(), lengthOf(bytes), info); }
  std::string pack(const Strings& elements, std::int32_t identifier = 1, std::uint8_t type = 0) {
    cbl::CVelixMessage message;
    message.assign(elements.begin(), elements.end());
    message.setType(type);
    std::string frame = "old";
    const std::int32_t length = protocol.pack(message, frame, identifier);
    EXPECT_EQ(length, lengthOf(frame));
    return frame;
  }

  const std::string golden = goldenFrame();
  cbl::CBusProtocol protocol;
  cbl::BusFrameInfo info;
};

TEST_F(Frame, IsWhatTheDocumentationShows) {
  FrameFields fields;
  fields.timestamp = kNewYear2026;
  ASSERT_EQ(golden, encodeFrame(encodeBody(kElements), fields));
  EXPECT_EQ(unpack(golden), lengthOf(golden));
  EXPECT_EQ(std::tie(info.identifier, info.type, info.timestamp), std::make_tuple(1U, 0, kNewYear2026));
  EXPECT_EQ(info.body, encodeBody(kElements));

  const std::uint64_t before = now();
  std::string packed = pack(kElements);
  EXPECT_EQ(unpack(packed), lengthOf(packed));
  EXPECT_TRUE(before <= info.timestamp && info.timestamp <= now());
  packed.replace(kTimestampAt, 8, golden, kTimestampAt, 8);
  support::sealFrame(packed);
  EXPECT_EQ(packed, golden);

  const std::string bytes = randomText(1000, 256);
  for (uInt length = 0; length <= bytes.size(); length += 37) {
    EXPECT_EQ(cbl::crc32(bytes.data(), length), crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), length));
  }
}

TEST_F(Frame, AnyFlippedBitOrCutIsRefused) {
  const std::string next = support::messageFrame({"next"}, 3);
  for (std::size_t bit = 0; bit < golden.size() * 8; ++bit) {
    std::string damaged = golden;
    damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
    EXPECT_EQ(unpack(damaged), bit < 32 ? -2 : -3) << "bit " << bit;
    EXPECT_LT(find(damaged), 0) << bit;
    EXPECT_EQ(find(damaged + next) > 0, bit < 24) << "without its magic it is foreign bytes: " << bit;
  }
  for (std::size_t length = 0; length < golden.size(); ++length) {
    EXPECT_EQ(unpack(golden.substr(0, length)), length < 28 ? -1 : -3) << length;
    EXPECT_LT(find(golden.substr(0, length)), 0) << length;
    EXPECT_LT(find(golden.substr(length + 1)), 0) << length;
  }
  EXPECT_EQ(protocol.unpack(nullptr, 100, info), -1);
  EXPECT_EQ(protocol.unpack(golden.data(), -1, info), -1);
}

/// The body of the frame that is found while the bytes come in two pieces split at `place`.
std::optional<std::string> bodyInPieces(const std::string& bytes, std::size_t place) {
  const cbl::CBusProtocol protocol;
  for (const std::size_t length : {place, bytes.size()}) {
    cbl::BusFrameInfo info;
    const std::int32_t consumed = protocol.findAndUnpack(bytes.data(), static_cast<std::int32_t>(length), info);
    if (consumed > 0) return info.body;
  }
  return std::nullopt;
}

TEST(DamagedFrame, IsRefusedWhereverTheBytesAreSplit) {
  const Strings reply = {"func@bac_read", "0", "16384,0"};
  const Strings large = {"func@bac_read", "0", std::string(2000, '7')};
  for (const Strings& elements : {reply, large}) {
    std::string frame = support::messageFrame(elements, 2, 0, elements == large);
    const std::string body = support::encodeBody(elements);
    for (std::size_t place = 0; place < frame.size(); ++place) {
      ASSERT_EQ(bodyInPieces(frame, place), body) << place;
      for (std::size_t bit = 0; bit < 8 * frame.size(); ++bit) {
        frame[bit / 8] = static_cast<char>(frame[bit / 8] ^ (1 << (bit % 8)));
        ASSERT_FALSE(bodyInPieces(frame, place)) << "bit " << bit << ", split at " << place;
        frame[bit / 8] = static_cast<char>(frame[bit / 8] ^ (1 << (bit % 8)));
      }
    }
  }
}

TEST_F(Frame, ALengthBeyondTheFrameIsRefused) {
  const std::string oneMore = std::string("\0\0\0", 3) + static_cast<char>(encodeBody(kElements).size() + 1);
  for (const auto& claim :
       {std::string(4, '\xFF'), "\x7F" + std::string(3, '\xFF'), "\x80" + std::string(3, '\0'), oneMore}) {
    std::string frame = golden;
    frame.replace(kBodyLengthAt, 4, claim);
    support::sealFrame(frame);
    info.body = "untouched";
    EXPECT_EQ(unpack(frame), -1);
    EXPECT_EQ(info.body, "untouched");
    EXPECT_EQ(find(frame), -17);
  }
}

TEST_F(Frame, FindSkipsWhatStandsBeforeTheFrame) {
  std::string otherVersion = golden;
  otherVersion[3] = 2;
  support::sealFrame(otherVersion);
  const std::pair<std::string, std::int32_t> cases[] = {{golden, lengthOf(golden)},
                                                        {"garbage VL" + golden, lengthOf(golden) + 10},
                                                        {"", -1},
                                                        {"VL", -1},
                                                        {golden.substr(3), -1},
                                                        {"..VLX" + std::string(24, '\1'), -17},
                                                        {otherVersion, -18},
                                                        {"VLX" + golden, -18},
                                                        {golden + golden, -19},
                                                        {golden + "x", -19}};
  for (const auto& [bytes, result] : cases) EXPECT_EQ(find(bytes), result) << bytes;
  EXPECT_EQ(protocol.findAndUnpack(nullptr, 100, info), -1);
}

TEST_F(Frame, LargeBodiesGoOutCompressed) {
  for (const std::size_t bodyLength : {1023U, 1024U, 200000U}) {
    const Strings elements = {randomText(bodyLength - (bodyLength > 10000 ? 15 : 13), 4)};
    const std::string body = encodeBody(elements);
    ASSERT_EQ(body.size(), bodyLength);
    const std::string frame = pack(elements);
    const bool compressed = bodyLength >= 1024;
    EXPECT_EQ(frame[8] & 0x0F, compressed ? 1 : 0);
    EXPECT_EQ(frame.compare(kBodyAt, 4, "\x04\x22\x4D\x18") == 0, compressed);
    EXPECT_EQ(frame.size() < bodyLength, compressed);
    EXPECT_EQ(unpack(frame), lengthOf(frame));
    EXPECT_TRUE(info.body == body);
  }
}

TEST_F(Frame, AnyValidLz4FrameIsAccepted) {
  const std::string body = encodeBody({randomText(300000, 3), randomText(100, 256)});
  FrameFields fields;
  fields.mode = 1;
  for (unsigned choice = 0; choice < 32; ++choice) {
    LZ4F_preferences_t preferences{};
    preferences.frameInfo.blockMode = static_cast<LZ4F_blockMode_t>(choice & 1);
    preferences.frameInfo.blockChecksumFlag = static_cast<LZ4F_blockChecksum_t>(choice >> 1 & 1);
    preferences.frameInfo.contentChecksumFlag = static_cast<LZ4F_contentChecksum_t>(choice >> 2 & 1);
    preferences.frameInfo.contentSize = choice & 8 ? body.size() : 0;
    preferences.frameInfo.blockSizeID = choice & 16 ? LZ4F_max64KB : LZ4F_max4MB;
    const std::string frame = encodeFrame(support::lz4Frame(body, &preferences), fields);
    EXPECT_EQ(unpack(frame), lengthOf(frame)) << choice;
    EXPECT_TRUE(info.body == body) << choice;
  }
}

TEST_F(Frame, DamagedCompressionIsRefused) {
  LZ4F_preferences_t checked{};
  checked.frameInfo.contentChecksumFlag = LZ4F_contentChecksumEnabled;
  const std::string whole = support::lz4Frame(encodeBody({randomText(3000, 5)}), &checked);
  Strings refused = {whole + "x"};
  for (std::size_t at = 0; at < whole.size(); at += 7) {
    refused.push_back(whole.substr(0, at));
    refused.push_back(whole);
    refused.back()[at] = static_cast<char>(~whole[at]);
  }
  FrameFields fields;
  fields.mode = 1;
  for (const std::string& carried : refused) {
    EXPECT_EQ(unpack(encodeFrame(carried, fields)), -4) << carried.size();
    EXPECT_EQ(find(encodeFrame(carried, fields)), -20);
  }
  std::string out = "untouched";
  EXPECT_EQ(cbl::lz4Buffer("no frame", out, cbl::Lz4Direction::kDecompress), -2);
  EXPECT_EQ(cbl::lz4Buffer(whole.substr(0, 100), out, cbl::Lz4Direction::kDecompress), -3);
  EXPECT_EQ(out, "untouched");
}

TEST_F(Frame, HeaderFieldsKeepTheirMeaning) {
  EXPECT_EQ(unpack(pack({"x"}, 0x12345678, 0x2F)), 28 + lengthOf(encodeBody({"x"})));
  EXPECT_EQ(info.type, 0x0F);
  EXPECT_EQ(info.identifier, 0x12345678U);

  FrameFields fields;
  fields.identifier = 0xFFFFFFFE;
  for (std::uint8_t mode = 2; mode < 16; ++mode) {  // unknown modes carry the body as it is
    fields.type = fields.mode = mode;
    std::string frame = encodeFrame("body", fields);
    frame.replace(9, 3, "\x11\x22\x33");  // reserved
    support::sealFrame(frame);
    EXPECT_EQ(unpack(frame), 32);
    EXPECT_EQ(std::tie(info.body, info.type, info.identifier), std::make_tuple("body", mode, 0xFFFFFFFEU));
  }
  EXPECT_EQ(pack({}).size(), 28U);
  std::string frame;
  EXPECT_EQ(protocol.pack(cbl::CBusMessage(), frame, 1), -1);
  EXPECT_EQ(protocol.packAs(cbl::CVelixMessage(), frame, 0xFFFFFFFF), 28) << "no wish to count";
  EXPECT_EQ(unpack(frame), 28);
  EXPECT_EQ(info.identifier, 0xFFFFFFFFU);
}

TEST_F(Frame, NegativeIdentifiersTakeTheCounter) {
  const auto packed = [&](std::int32_t identifier) {
    std::string frame;
    protocol.pack(cbl::CVelixMessage(), frame, identifier);
    cbl::BusFrameInfo own;
    protocol.unpack(frame.data(), lengthOf(frame), own);
    return own.identifier;
  };
  EXPECT_EQ(packed(-1), 0U);
  EXPECT_EQ(packed(0x7FFFFFFF), 0x7FFFFFFFU);
  EXPECT_EQ(packed(-2147483647), 1U);
  std::set<std::uint32_t> taken[4];
  std::vector<std::thread> threads;
  for (auto& own : taken) {
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) own.insert(packed(-1));
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int i = 1; i < 4; ++i) taken[0].merge(taken[i]);
  EXPECT_EQ(taken[0].size(), 2000U);
  EXPECT_EQ(*taken[0].rbegin(), 2001U);
}

TEST(ReceiveBuffer, TakesAllOrNothing) {
  cbl::CReceiveBuffer buffer(8);
  EXPECT_EQ(buffer.append(nullptr, 1), -1);
  EXPECT_EQ(buffer.append("x", 0), -1);
  EXPECT_EQ(buffer.append("123456", 6), 6);
  EXPECT_EQ(buffer.append("789", 3), -2);
  EXPECT_EQ(buffer.append("78", 2), 2);
  buffer.removeFront(3);
  EXPECT_EQ(std::string(buffer.data(), buffer.size()), "45678");
  buffer.removeFront(100);
  EXPECT_EQ(buffer.size(), 0U);

  cbl::CReceiveBuffer standard(-1);
  EXPECT_EQ(standard.append(std::string(262144, 'x').data(), 262144), 262144);
  EXPECT_EQ(standard.append("x", 1), -2);
}

const std::string kGoldenBody = "*2\r\n$13\r\nfunc@bac_read\r\n$1\r\n7\r\n";

Strings elementsOf(const cbl::CVelixMessage& message) {
  return message;
}

TEST(Message, WritesAndReadsTheGoldenBody) {
  cbl::CVelixMessage message;
  std::string body = "what was there before";
  EXPECT_EQ(message.dump(body), 0);
  EXPECT_EQ(body, "");
  message.assign({"func@bac_read", "7"});
  EXPECT_EQ(message.dump(body), 31);
  EXPECT_EQ(body, kGoldenBody);

  const Strings elements = {"", "a\r\nb\0c"s, "$1\r\nx\r\n", std::string(70000, '\xFF'), "*2\r\n", ""};
  message.assign(elements.begin(), elements.end());
  cbl::CVelixMessage read;
  const std::int32_t length = message.dump(body);
  EXPECT_EQ(read.load(body), length);
  EXPECT_EQ(elementsOf(read), elements);
  EXPECT_EQ(read.load((kGoldenBody + "behind the length").data(), 31), 31);
  EXPECT_EQ(elementsOf(read), (Strings{"func@bac_read", "7"}));
}

TEST(Message, ReadsSignsAndLeadingZeros) {
  const std::pair<std::string, Strings> bodies[] = {
      {"*0\r\n", {}},
      {"*-1\r\n", {}},
      {"*-0\r\n", {}},
      {"*+1\r\n$-0\r\n\r\n", {""}},
      {"*01\r\n$+003\r\nabc\r\n", {"abc"}},
  };
  for (const auto& [body, elements] : bodies) {
    cbl::CVelixMessage message;
    message.push_back("old");
    EXPECT_EQ(message.load(body), static_cast<std::int32_t>(body.size())) << body;
    EXPECT_EQ(elementsOf(message), elements) << body;
  }
}

TEST(Message, EveryDefectHasItsCodeAndChangesNothing) {
  const std::pair<std::int32_t, Strings> defects[] = {
      {-1, {"", "2\r\n", " *0\r\n"}},
      {-2, {"*", "*2", "*2\n", "*\r\n", "* 2\r\n", "*2 \r\n", "*0x1\r\n", "*+\r\n", "*-2\r\n", "*2147483648\r\n"}},
      {-3, {"*1\r\n", "*1\r\nx", "*2\r\n$1\r\na\r\n", "*2147483647\r\n$0\r\n\r\n"}},
      {-4, {"*1\r\n$", "*1\r\n$5", "*1\r\n$\r\n", "*1\r\n$x\r\n", "*1\r\n$-2\r\n\r\n", "*1\r\n$99999999999\r\n\r\n"}},
      {-5, {"*1\r\n$0\r\n", "*1\r\n$2\r\nab\r", "*1\r\n$2147483647\r\nab\r\n", "*1\r\n$2147483646\r\nab\r\n"}},
      {-6, {"*1\r\n$-1\r\n\r\n", "*1\r\n$2\r\nabc\r\n", "*1\r\n$2\r\nab\n\r"}},
      {-7, {"*1\r\n$1\r\na\r\n\r\n", "*0\r\nx", "*-1\r\n$"}}};
  cbl::CVelixMessage message;
  message.push_back("old");
  const long peak = support::statusKiB("VmPeak");
  for (const auto& [code, bodies] : defects) {
    for (const std::string& body : bodies) EXPECT_EQ(message.load(body), code) << body;
  }
  EXPECT_LT(support::statusKiB("VmPeak"), peak + 64 * 1024) << "hostile numbers cost no memory";
  EXPECT_EQ(message.load(nullptr, 5), -1);
  EXPECT_EQ(message.load(kGoldenBody.data(), -1), -1);

  // In a buffer of the exact size, so that a read past the end is found out.
  for (std::size_t length = 0; length < kGoldenBody.size(); ++length) {
    const std::vector<char> cut(kGoldenBody.begin(), kGoldenBody.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_LT(message.load(cut.data(), static_cast<std::int32_t>(length)), 0) << length;
  }
  EXPECT_EQ(elementsOf(message), Strings{"old"});
}

TEST(Message, SaysWhyTheCountCannotBeRead) {
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"*2", "find integer failed: -2\n", ""},
      {"*\r\n", "find integer failed: -3\n", ""},
      {"*x\r\n", "find integer failed: -4\n", "xstring::toInt32 is not numeric\n"},
      {"*99999999999\r\n", "find integer failed: -4\n", "xstring::toInt32 exception: stoi std::out_of_range\n"},
      {"*-2\r\n", "find integer failed: -5\n", ""},
      {"*1\r\n$x\r\n", "", "xstring::toInt32 is not numeric\n"},
      {"*1\r\n", "", ""}};
  for (const auto& [body, out, err] : cases) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    cbl::CVelixMessage().load(body);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), out) << body;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), err) << body;
  }
}

}  // namespace
