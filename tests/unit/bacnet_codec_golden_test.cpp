#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "bacnet/codec/describe.h"
#include "bacnet/number/names.h"
#include "support/bacnet_meaning.h"
#include "support/datagram_echo.h"
#include "support/golden.h"

namespace {

using nlohmann::json;

std::string hexOf(std::string_view bytes) {
  return bacnet::describe(bacnet::OctetString{std::string(bytes)});
}

// Without the names of what has a number, which do not travel.
json meaningIn(const support::GoldenDatagram& datagram) {
  json meaning = json::parse(datagram.meaning);
  meaning["bvlc"].erase("name");
  if (meaning.contains("npdu")) meaning["npdu"].erase("message_name");
  return meaning;
}

TEST(BacnetGolden, EveryDatagramMeansWhatItsSenderMeant) {
  std::string gathered;  // what the segments carried so far
  int datagrams = 0;
  for (const auto& golden : support::goldenDatagrams()) {
    json meaning = meaningIn(golden);
    if (meaning["apdu"].contains("segmented")) {
      if (meaning["apdu"]["sequence"] == 0) gathered.clear();
      gathered += support::serviceOctets(golden.bytes);
    }
    if (meaning.contains("reassembled")) {
      const bool isAnswer = meaning["apdu"]["type"] == "complex-ack";
      EXPECT_EQ(support::reassembledMeaning(meaning["apdu"]["service"], isAnswer, gathered), meaning["reassembled"]);
      meaning.erase("reassembled");
    }
    if (meaning["apdu"].is_null()) meaning.erase("apdu");
    EXPECT_EQ(support::meaningOf(golden.bytes).value_or(json()), meaning) << golden.name;
    ++datagrams;
  }
  EXPECT_EQ(datagrams, 140);
}

TEST(BacnetGolden, WhatWasReadIsEncodedAsItsSenderDid) {
  for (const auto& golden : support::goldenDatagrams()) {
    const std::string bytes = support::echoDatagram(golden.bytes).value();
    // That sender uses a longer form of a length than it needs.
    const bool hasLongForm = golden.name == "private-transfer-unconfirmed";
    EXPECT_EQ(hexOf(bytes) == hexOf(golden.bytes), !hasLongForm) << golden.name << "\n" << hexOf(bytes);
    EXPECT_EQ(support::meaningOf(bytes), support::meaningOf(golden.bytes)) << golden.name;
  }
}

// Whether all that `part` says, `whole` says too; lists may end early.
bool isPart(const json& part, const json& whole) {
  if (part.type() != whole.type()) return false;
  if (part.is_array()) {
    return part.size() <= whole.size() && std::equal(part.begin(), part.end(), whole.begin(), isPart);
  }
  if (!part.is_object()) return part == whole;
  return std::all_of(part.items().begin(), part.items().end(), [&whole](const auto& item) {
    return item.key() == "segment_octets" || (whole.contains(item.key()) && isPart(item.value(), whole[item.key()]));
  });
}

void setLength(std::string& datagram) {
  if (datagram.size() < 4) return;
  datagram[2] = static_cast<char>(datagram.size() >> 8);
  datagram[3] = static_cast<char>(datagram.size());
}

TEST(BacnetGolden, ACutDatagramIsNeverAValue) {
  for (const auto& golden : support::goldenDatagrams()) {
    const json whole = support::meaningOf(golden.bytes).value();
    const bool isOneValue = golden.name.rfind("rp-ack", 0) == 0;
    for (std::size_t octets = 0; octets < golden.bytes.size(); ++octets) {
      std::string cut = golden.bytes.substr(0, octets);
      ASSERT_FALSE(support::meaningOf(cut)) << golden.name << " " << octets;
      setLength(cut);
      const auto meaning = support::meaningOf(cut);
      const bool isRight = !meaning || (!isOneValue && isPart(*meaning, whole));
      ASSERT_TRUE(isRight) << golden.name << " " << octets << *meaning;
    }
  }
}

// Counts a datagram that was read; what was read has to be encoded to bytes that are read the same.
void countEcho(std::string_view datagram, int& read) {
  const auto echo = support::echoDatagram(datagram);
  if (!echo) return;
  ++read;
  ASSERT_EQ(support::echoDatagram(*echo), echo) << hexOf(datagram);
}

TEST(BacnetGolden, AFlippedBitIsReadOrRefused) {
  int read = 0;
  for (const auto& golden : support::goldenDatagrams()) {
    for (std::size_t bit = 0; bit < 8 * golden.bytes.size(); ++bit) {
      std::string flipped = golden.bytes;
      flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ 1 << bit % 8);
      ASSERT_NO_FATAL_FAILURE(countEcho(flipped, read)) << golden.name << " bit " << bit;
    }
  }
  EXPECT_GT(read, 0);
}

// A third noise behind a right header, the others golden datagrams with a few octets changed, taken out or put in.
TEST(BacnetGolden, AMillionRandomDatagramsAreReadOrRefused) {
  constexpr int kDatagrams = 1000000;
  constexpr std::size_t kLongest = 80;
  std::mt19937 random(47808);
  const auto below = [&random](std::size_t limit) { return random() % limit; };
  const auto golden = support::goldenDatagrams();
  int read = 0;
  for (int i = 0; i < kDatagrams; ++i) {
    std::string bytes = support::bytesOfHex("810a00000100");
    if (i % 3 == 0) {
      bytes += static_cast<char>(below(8) << 4);
      for (std::size_t octets = below(kLongest); octets > 0; --octets) bytes += static_cast<char>(random());
    } else {
      bytes = golden[below(golden.size())].bytes;
      for (std::size_t changes = 1 + below(4); changes > 0; --changes) {
        const std::size_t at = 4 + below(bytes.size() - 4);
        const auto octet = static_cast<char>(random());
        if (below(3) == 0) {
          bytes.insert(at, 1, octet);
        } else if (below(2) == 0 && bytes.size() > 5) {
          bytes.erase(at, 1);
        } else {
          bytes[at] = octet;
        }
      }
    }
    setLength(bytes);
    ASSERT_NO_FATAL_FAILURE(countEcho(bytes, read));
  }
  EXPECT_GT(read, kDatagrams / 10) << "most of them are no longer worth reading";
  EXPECT_LT(read, kDatagrams);
}

std::string lettersOf(const std::string& name) {
  std::string letters;
  for (const char letter : name) {
    if (std::isalnum(static_cast<unsigned char>(letter)) != 0) letters += static_cast<char>(std::tolower(letter));
  }
  return letters;
}

TEST(BacnetNumbers, HaveTheStandardsNames) {
  const std::map<std::string, const bacnet::CNameTable*> tables{
      {"object-type", &bacnet::kObjectTypeNames},
      {"property-identifier", &bacnet::kPropertyNames},
      {"engineering-units", &bacnet::kUnitNames},
      {"confirmed-service", &bacnet::kConfirmedServiceNames},
      {"unconfirmed-service", &bacnet::kUnconfirmedServiceNames},
      {"error-class", &bacnet::kErrorClassNames},
      {"error-code", &bacnet::kErrorCodeNames},
      {"reject-reason", &bacnet::kRejectReasonNames},
      {"abort-reason", &bacnet::kAbortReasonNames},
      {"device-status", &bacnet::kDeviceStatusNames},
      {"event-state", &bacnet::kEventStateNames},
      {"reliability", &bacnet::kReliabilityNames},
      {"segmentation", &bacnet::kSegmentationNames},
      {"action", &bacnet::kActionNames},
      {"notify-type", &bacnet::kNotifyTypeNames},
      {"life-safety-state", &bacnet::kLifeSafetyStateNames},
  };
  std::map<std::string, std::string> spellings;
  for (const auto& row : support::goldenRows("spellings.tsv")) spellings[row.at(0) + row.at(1)] = row.at(2);
  for (const auto& row : support::goldenRows("numbers.tsv")) {
    const auto spelling = spellings.find(row[0] + row[1]);
    const std::string expected = spelling == spellings.end() ? lettersOf(row[2]) : lettersOf(spelling->second);
    const auto number = static_cast<std::uint32_t>(std::stoul(row[1]));
    EXPECT_EQ(lettersOf(std::string(tables.at(row[0])->name(number))), expected) << row[0] << " " << number;
  }
  for (const auto& [kind, table] : tables) {
    for (const bacnet::NumberName& entry : *table) {
      EXPECT_EQ(table->number(entry.name), entry.number) << kind << ": a name twice";
      EXPECT_EQ(table->name(entry.number), entry.name) << kind << ": numbers out of order";
    }
  }
  EXPECT_EQ(bacnet::kPropertyNames.name(512), "");
  EXPECT_FALSE(bacnet::kPropertyNames.number("no-such-property"));
}

}  // namespace
