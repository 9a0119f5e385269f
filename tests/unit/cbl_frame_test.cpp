#include <gtest/gtest.h>
#include <zlib.h>

#include <chrono>
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
#include "support/temp_dir.h"

namespace {

using cbl::BusFrameInfo;
using cbl::CBusProtocol;
using support::encodeBody;
using support::encodeFrame;
using support::FrameFields;
using support::messageFrame;
using Strings = std::vector<std::string>;

const Strings kElements = {"func@bac_read", "7", "4"};
constexpr std::uint64_t kNewYear2026 = 1767225600000000;
constexpr std::size_t kTimestampAt = 12;
constexpr std::size_t kBodyLengthAt = 20;
constexpr std::size_t kBodyAt = 24;

// The frame printed in the bus's documentation.
std::string goldenFrame() {
  const std::string document = support::readFile(SOURCE_DIR "/docs/bus-protocol.md");
  const std::regex pattern("```hex\n([0-9a-f \n]+)```");
  std::smatch block;
  if (!std::regex_search(document, block, pattern)) return "";
  std::istringstream digits(block[1].str());
  std::string frame;
  for (int byte = 0; digits >> std::hex >> byte;) frame += static_cast<char>(byte);
  return frame;
}

std::int32_t unpack(const std::string& frame, BusFrameInfo& info) {
  const std::vector<char> exact(frame.begin(), frame.end());  // no terminating zero to read by mistake
  return CBusProtocol().unpack(exact.data(), static_cast<std::int32_t>(exact.size()), info);
}

std::int32_t unpack(const std::string& frame) {
  BusFrameInfo info;
  return unpack(frame, info);
}

std::int32_t find(const std::string& bytes) {
  BusFrameInfo info;
  return CBusProtocol().findAndUnpack(bytes.data(), static_cast<std::int32_t>(bytes.size()), info);
}

std::int32_t lengthOf(const std::string& bytes) {
  return static_cast<std::int32_t>(bytes.size());
}

std::string pack(const Strings& elements, std::int32_t identifier = 1, std::uint8_t type = 0) {
  cbl::CVelixMessage message;
  for (const std::string& element : elements) message.push_back(element);
  message.setType(type);
  std::string frame = "old";
  const std::int32_t length = CBusProtocol().pack(message, frame, identifier);
  EXPECT_EQ(length, lengthOf(frame));
  return frame;
}

std::uint32_t packedIdentifier(CBusProtocol& protocol, std::int32_t identifier) {
  std::string frame;
  protocol.pack(cbl::CVelixMessage(), frame, identifier);
  BusFrameInfo info;
  EXPECT_EQ(unpack(frame, info), 28);
  return info.identifier;
}

std::string randomText(std::size_t length, unsigned alphabet) {
  std::mt19937 random(4711);
  std::string text(length, '\0');
  for (char& c : text) c = static_cast<char>(random() % alphabet);
  return text;
}

TEST(Frame, IsWhatTheDocumentationShows) {
  const std::string golden = goldenFrame();
  FrameFields fields;
  fields.timestamp = kNewYear2026;
  ASSERT_EQ(golden, encodeFrame(encodeBody(kElements), fields));

  BusFrameInfo info;
  EXPECT_EQ(unpack(golden, info), lengthOf(golden));
  EXPECT_EQ(info.identifier, 1U);
  EXPECT_EQ(info.type, 0);
  EXPECT_EQ(info.timestamp, kNewYear2026);
  EXPECT_EQ(info.body, encodeBody(kElements));

  std::string packed = pack(kElements);
  EXPECT_EQ(unpack(packed), lengthOf(packed));
  packed.replace(kTimestampAt, 8, golden, kTimestampAt, 8);
  support::sealFrame(packed);
  EXPECT_EQ(packed, golden);
}

TEST(Frame, CarriesTheTimeOfPacking) {
  const auto now = [] {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch).count());
  };
  BusFrameInfo info;
  const std::uint64_t before = now();
  unpack(pack(kElements), info);
  EXPECT_GE(info.timestamp, before);
  EXPECT_LE(info.timestamp, now());
}

TEST(Frame, ChecksumIsZlibs) {
  EXPECT_EQ(cbl::crc32("123456789", 9), 0xCBF43926U);
  const std::string bytes = randomText(1000, 256);
  for (uInt length = 0; length <= bytes.size(); length += 37) {
    EXPECT_EQ(cbl::crc32(bytes.data(), length), crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), length));
  }
}

TEST(Frame, AnyFlippedBitIsRefused) {
  const std::string golden = goldenFrame();
  ASSERT_FALSE(golden.empty());
  for (std::size_t bit = 0; bit < golden.size() * 8; ++bit) {
    std::string damaged = golden;
    damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
    EXPECT_EQ(unpack(damaged), bit < 32 ? -2 : -3) << "bit " << bit;
  }
}

TEST(Frame, AnyCutFrameIsRefused) {
  const std::string golden = goldenFrame();
  for (std::size_t length = 0; length < golden.size(); ++length) {
    EXPECT_EQ(unpack(golden.substr(0, length)), length < 28 ? -1 : -3) << length;
  }
  BusFrameInfo info;
  EXPECT_EQ(CBusProtocol().unpack(nullptr, 100, info), -1);
  EXPECT_EQ(CBusProtocol().unpack(golden.data(), -1, info), -1);
}

TEST(Frame, ALengthBeyondTheFrameIsRefused) {
  const std::string golden = goldenFrame();
  const auto length = static_cast<char>(encodeBody(kElements).size() + 1);
  for (const std::string& claim : {std::string("\xFF\xFF\xFF\xFF"), std::string("\x7F\xFF\xFF\xFF"),
                                   std::string("\x80\0\0\0", 4), std::string("\0\0\0", 3) + length}) {
    std::string frame = golden;
    frame.replace(kBodyLengthAt, 4, claim);
    support::sealFrame(frame);
    BusFrameInfo info;
    info.body = "untouched";
    EXPECT_EQ(unpack(frame, info), -1);
    EXPECT_EQ(info.body, "untouched");
    EXPECT_EQ(find(frame), -17);
  }
}

TEST(Frame, FindSkipsWhatStandsBeforeTheFrame) {
  const std::string frame = goldenFrame();
  std::string otherVersion = frame;
  otherVersion[3] = 2;
  support::sealFrame(otherVersion);

  EXPECT_EQ(find(frame), lengthOf(frame));
  EXPECT_EQ(find("garbage VL" + frame), lengthOf(frame) + 10);
  EXPECT_EQ(find(""), -1);
  EXPECT_EQ(find("VL"), -1);
  EXPECT_EQ(find(frame.substr(3)), -1);
  EXPECT_EQ(find("..VLX" + std::string(24, '\1')), -17);
  EXPECT_EQ(find(otherVersion), -18);
  EXPECT_EQ(find("VLX" + frame), -18) << "the first magic counts";
  EXPECT_EQ(find(frame + frame), -19);
  EXPECT_EQ(find(frame + "x"), -19);
  BusFrameInfo info;
  EXPECT_EQ(CBusProtocol().findAndUnpack(nullptr, 100, info), -1);
}

TEST(Frame, LargeBodiesGoOutCompressed) {
  for (const std::size_t bodyLength : {std::size_t{1023}, std::size_t{1024}, std::size_t{200000}}) {
    const Strings elements = {randomText(bodyLength - (bodyLength > 10000 ? 15 : 13), 4)};
    const std::string body = encodeBody(elements);
    ASSERT_EQ(body.size(), bodyLength);

    const std::string frame = pack(elements);
    const bool compressed = bodyLength >= 1024;
    EXPECT_EQ(frame[8] & 0x0F, compressed ? 1 : 0);
    const std::string carried = frame.substr(kBodyAt, frame.size() - 28);
    FrameFields fields;
    fields.mode = compressed ? 1 : 0;
    EXPECT_EQ(frame.substr(kBodyLengthAt, 4), encodeFrame(carried, fields).substr(kBodyLengthAt, 4));

    LZ4F_dctx* context = nullptr;
    LZ4F_createDecompressionContext(&context, LZ4F_VERSION);
    std::string content(2 * bodyLength, '\0');
    std::size_t produced = content.size();
    std::size_t consumed = carried.size();
    if (compressed) {
      EXPECT_LT(carried.size(), bodyLength);
      EXPECT_EQ(LZ4F_decompress(context, content.data(), &produced, carried.data(), &consumed, nullptr), 0U);
      EXPECT_EQ(consumed, carried.size());
      EXPECT_TRUE(content.compare(0, produced, body) == 0);
    } else {
      EXPECT_EQ(carried, body);
    }
    LZ4F_freeDecompressionContext(context);

    BusFrameInfo info;
    EXPECT_EQ(unpack(frame, info), lengthOf(frame));
    EXPECT_TRUE(info.body == body);
  }
}

TEST(Frame, AnyValidLz4FrameIsAccepted) {
  const std::string body = encodeBody({randomText(300000, 3), randomText(100, 256)});
  for (unsigned choice = 0; choice < 128; ++choice) {
    LZ4F_preferences_t preferences{};
    preferences.frameInfo.blockMode = choice & 1 ? LZ4F_blockIndependent : LZ4F_blockLinked;
    preferences.frameInfo.blockChecksumFlag = choice & 2 ? LZ4F_blockChecksumEnabled : LZ4F_noBlockChecksum;
    preferences.frameInfo.contentChecksumFlag = choice & 4 ? LZ4F_contentChecksumEnabled : LZ4F_noContentChecksum;
    preferences.frameInfo.contentSize = choice & 8 ? body.size() : 0;
    const LZ4F_blockSizeID_t sizes[] = {LZ4F_default, LZ4F_max64KB, LZ4F_max256KB, LZ4F_max4MB};
    preferences.frameInfo.blockSizeID = sizes[choice / 16 % 4];
    preferences.compressionLevel = choice & 64 ? 4 : 0;
    FrameFields fields;
    fields.mode = 1;
    const std::string frame = encodeFrame(support::lz4Frame(body, &preferences), fields);
    BusFrameInfo info;
    EXPECT_EQ(unpack(frame, info), lengthOf(frame)) << choice;
    EXPECT_TRUE(info.body == body) << choice;
  }
}

TEST(Frame, DamagedCompressionIsRefused) {
  LZ4F_preferences_t checked{};
  checked.frameInfo.contentChecksumFlag = LZ4F_contentChecksumEnabled;
  const std::string whole = support::lz4Frame(encodeBody({randomText(3000, 5)}), &checked);
  FrameFields fields;
  fields.mode = 1;
  const auto expectRefused = [&](const std::string& carried) {
    const std::string frame = encodeFrame(carried, fields);
    EXPECT_EQ(unpack(frame), -4) << carried.size();
    EXPECT_EQ(find(frame), -20);
  };
  for (std::size_t length = 0; length < whole.size(); length += 11) expectRefused(whole.substr(0, length));
  for (std::size_t at = 0; at < whole.size(); at += 7) {
    std::string damaged = whole;
    damaged[at] = static_cast<char>(~damaged[at]);
    expectRefused(damaged);
  }
  expectRefused(whole + "x");

  std::string out = "untouched";
  EXPECT_EQ(cbl::lz4Buffer("no frame", out, cbl::Lz4Direction::kDecompress), -2);
  EXPECT_EQ(cbl::lz4Buffer(whole.substr(0, 100), out, cbl::Lz4Direction::kDecompress), -3);
  EXPECT_EQ(out, "untouched");
}

TEST(Frame, HeaderFieldsKeepTheirMeaning) {
  BusFrameInfo info;
  EXPECT_EQ(unpack(pack({"x"}, 0x12345678, 0x2F), info), lengthOf(pack({"x"})));
  EXPECT_EQ(info.type, 0x0F);
  EXPECT_EQ(info.identifier, 0x12345678U);

  FrameFields fields;
  fields.identifier = 0xFFFFFFFE;
  for (std::uint8_t mode = 2; mode < 16; ++mode) {  // unknown modes carry the body as it is
    fields.mode = mode;
    fields.type = mode;
    std::string frame = encodeFrame("body", fields);
    frame.replace(9, 3, "\x11\x22\x33");  // reserved
    support::sealFrame(frame);
    EXPECT_EQ(unpack(frame, info), 32);
    EXPECT_EQ(info.body, "body");
    EXPECT_EQ(info.type, mode);
    EXPECT_EQ(info.identifier, 0xFFFFFFFEU);
  }

  EXPECT_EQ(pack({}).size(), 28U);
  std::string frame;
  EXPECT_EQ(CBusProtocol().pack(cbl::CBusMessage(), frame, 1), -1);
}

TEST(Frame, NegativeIdentifiersTakeTheCounter) {
  CBusProtocol protocol;
  EXPECT_EQ(packedIdentifier(protocol, -1), 0U);
  EXPECT_EQ(packedIdentifier(protocol, 0x7FFFFFFF), 0x7FFFFFFFU);
  EXPECT_EQ(packedIdentifier(protocol, -2147483647), 1U);

  std::vector<std::set<std::uint32_t>> taken(4);
  std::vector<std::thread> threads;
  for (auto& own : taken) {
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) own.insert(packedIdentifier(protocol, -1));
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::set<std::uint32_t> all;
  for (const auto& own : taken) all.insert(own.begin(), own.end());
  EXPECT_EQ(all.size(), 2000U);
  EXPECT_EQ(*all.rbegin(), 2001U);
}

TEST(ReceiveBuffer, TakesAllOrNothing) {
  cbl::CReceiveBuffer buffer(8);
  EXPECT_EQ(buffer.append(nullptr, 1), -1);
  EXPECT_EQ(buffer.append("x", 0), -1);
  EXPECT_EQ(buffer.append("123456789", 9), -2);
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

}  // namespace
