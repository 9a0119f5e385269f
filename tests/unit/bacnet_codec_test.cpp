#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "bacnet/codec/apdu.h"
#include "bacnet/codec/bvlc.h"
#include "bacnet/codec/describe.h"
#include "bacnet/codec/npdu.h"
#include "bacnet/codec/reader.h"
#include "bacnet/codec/text.h"
#include "bacnet/service/cov.h"
#include "bacnet/service/discovery.h"
#include "bacnet/service/failure.h"
#include "bacnet/service/property.h"
#include "support/golden.h"

namespace {

using namespace bacnet;
using support::bytesOfHex;
using Limits = std::numeric_limits<std::int64_t>;

TEST(BacnetValues, TravelInTheirShortestForm) {
  const std::pair<Value, std::string> cases[] = {
      {std::uint64_t{0}, "2100"},
      {std::uint64_t{0x1000000}, "2401000000"},
      {std::uint64_t{0x100000000}, "25050100000000"},
      {std::uint64_t{UINT64_MAX}, "2508ffffffffffffffff"},
      {std::int64_t{0}, "3100"},
      {std::int64_t{-1}, "31ff"},
      {std::int64_t{-128}, "3180"},
      {std::int64_t{128}, "320080"},
      {std::int64_t{-0x800001}, "34ff7fffff"},
      {Limits::min(), "35088000000000000000"},
      {Limits::max(), "35087fffffffffffffff"},
      {Enumerated{UINT32_MAX}, "94ffffffff"},
      {std::numeric_limits<float>::infinity(), "447f800000"},
      {OctetString{std::string(253, 'w')}, "65fd" + std::string(2 * 253, '7')},
      {OctetString{std::string(254, 'w')}, "65fe00fe" + std::string(2 * 254, '7')},
      {OctetString{std::string(65536, 'w')}, "65ff00010000" + std::string(2 * 65536, '7')},
      {BitString{std::vector<bool>(8, true)}, "8200ff"},
      {ContextPrimitive{15, "x"}, "f90f78"},
      {Constructed{254, {Null{}}}, "fefe00fffe"},
      {UnknownPrimitive{13, "x"}, "d178"},
      {UnknownPrimitive{200, ""}, "f0c8"},
  };
  for (const auto& [value, hex] : cases) {
    EXPECT_EQ(encode(Values{value}), bytesOfHex(hex)) << hex.substr(0, 20);
    EXPECT_EQ(parseValues(bytesOfHex(hex)), Values{value}) << hex.substr(0, 20);
  }
}

TEST(BacnetValues, LongerFormsAreRead) {
  EXPECT_EQ(parseValues(bytesOfHex("2400000007")), Values{std::uint64_t{7}});
  EXPECT_EQ(parseValues(bytesOfHex("3500")), std::nullopt);
  EXPECT_EQ(parseValues(bytesOfHex("350101")), Values{std::int64_t{1}});
  EXPECT_EQ(parseValues(bytesOfHex("95080000000000000009")), Values{Enumerated{9}});
  EXPECT_EQ(parseValues(bytesOfHex("f92178")), (Values{ContextPrimitive{0x21, "x"}}));
}

TEST(BacnetValues, WhatIsNoneOfItsTypeIsRefused) {
  const std::pair<const char*, std::vector<const char*>> cases[] = {
      {"a Null with content", {"01"}},
      {"a Boolean that is neither", {"12", "150100"}},
      {"nothing where there has to be something", {"20", "30", "40", "60ff"}},
      {"more than eight octets", {"2509000000000000000000", "3509000000000000000000"}},
      {"an Enumerated beyond 32 bits", {"95050100000000"}},
      {"a Real of three octets, a Double of four", {"43000000", "5504ffffffff"}},
      {"no character set, no or too many unused bits", {"70", "80", "8108", "820800", "8101"}},
      {"a short Date, Time, object", {"a3010203", "b3010203", "c3000001"}},
      {"an application tag that opens or closes", {"06", "07"}},
      {"opened and not closed, or not so", {"0e", "0f", "0e1f", "0e0f0f"}},
      {"a cut or reserved tag", {"f9", "f9ff00", "0d", "0dfe00", "0dff000000"}},
      {"4 GiB are claimed", {"65ffffffffff00", "0dffffffffff00"}},
  };
  for (const auto& [what, octets] : cases) {
    for (const char* hex : octets) EXPECT_FALSE(parseValues(bytesOfHex(hex))) << what << ": " << hex;
  }
}

TEST(BacnetValues, NestingAndNumberAreBounded) {
  const auto nested = [](std::size_t depth) { return std::string(depth, '\x0e') + std::string(depth, '\x0f'); };
  EXPECT_TRUE(parseValues(nested(CReader::kDeepestNesting)));
  EXPECT_FALSE(parseValues(nested(CReader::kDeepestNesting + 1)));
  EXPECT_FALSE(parseValues(std::string(1 << 21, '\x0e')));
  EXPECT_EQ(parseValues(std::string(CReader::kMostTags, '\0'))->size(), CReader::kMostTags);
  EXPECT_FALSE(parseValues(std::string(CReader::kMostTags + 1, '\0')));
}

TEST(BacnetText, EveryCharacterSetBecomesUtf8) {
  const std::pair<CharacterString, std::string> cases[] = {
      {{0, "K\xc3\xa4lte"}, "Kälte"},
      {{0, "K\xe4lte"}, "Kälte"},                         // no UTF-8: Latin-1
      {{0, "\xc0\x80"}, "\xc3\x80\xc2\x80"},              // an overlong form is none
      {{0, "\xed\xa0\x80"}, "\xc3\xad\xc2\xa0\xc2\x80"},  // a surrogate neither
      {{0, "\xf4\x90\x80\x80"}, "\xc3\xb4\xc2\x90\xc2\x80\xc2\x80"},
      {{0, "\xe2\x82"}, "\xc3\xa2\xc2\x82"},
      {{1, std::string("\x03\x52") + "abc"}, "abc"},  // the code page is no text
      {{1, "\x03"}, ""},
      {{2, "JIS"}, "JIS"},
      {{3, bytesOfHex("0001f600000003a9")}, "😀Ω"},
      {{3, bytesOfHex("0011000000")}, "\xef\xbf\xbd"},
      {{4, bytesOfHex("d83dde0003a9")}, "😀Ω"},
      {{4, bytesOfHex("d83d0041dc00ff")},
       "\xef\xbf\xbd"
       "A\xef\xbf\xbd"},
      {{5, "\xb5m\xff"}, "µmÿ"},
      {{77, "a\xfc"}, "aü"},
  };
  for (const auto& [text, utf8] : cases) EXPECT_EQ(utf8Of(text), utf8);
}

TEST(BacnetText, GoesOutInTheAskedSetOrNotAtAll) {
  const std::tuple<std::string, std::uint8_t, std::optional<std::string>> cases[] = {
      {"K\xe4lte", 0, "4bc3a46c7465"},
      {"Ω", 0, "cea9"},
      {"Ω", 4, "03a9"},
      {"😀", 3, "0001f600"},
      {"ü", 5, "fc"},
      {"Ω", 5, std::nullopt},
      {"😀", 4, std::nullopt},
      {"a", 1, std::nullopt},
      {"", 4, ""},
  };
  for (const auto& [text, set, hex] : cases) {
    const auto result = characterString(text, set);
    ASSERT_EQ(result.has_value(), hex.has_value()) << text << int{set};
    EXPECT_EQ(result.value_or(CharacterString()),
              (CharacterString{hex ? set : std::uint8_t{0}, bytesOfHex(hex.value_or(""))}));
  }
}

TEST(BacnetText, IsCutAtAWholeCharacter) {
  const std::tuple<std::string, std::size_t, std::string> cases[] = {
      {"aü", 3, "aü"}, {"aü", 2, "a"}, {"a😀b", 4, "a"}, {"a😀b", 5, "a😀"}, {"😀", 3, ""}, {"ab", 0, ""},
  };
  for (const auto& [text, octets, cut] : cases) EXPECT_EQ(cutAtCharacter(text, octets), cut) << text << octets;
}

TEST(BacnetDescribe, ShowsValuesAsAPersonReadsThem) {
  const std::pair<Values, std::string> cases[] = {
      {{}, ""},
      {{Null{}, true, false}, "null,true,false"},
      {{std::uint64_t{UINT64_MAX}, Limits::min()}, "18446744073709551615,-9223372036854775808"},
      {{21.5F, 0.1F, 1e20F, -0.0F, std::nanf(""), -HUGE_VALF}, "21.5,0.1,1e+20,-0,nan,-inf"},
      {{0.1, 70000000.0}, "0.1,7e+07"},
      {{OctetString{std::string("\0\xff", 2)}, CharacterString{5, "\xfc"}}, "00ff,ü"},
      {{BitString{{false, true, false, true}}, Enumerated{47808}, ObjectId{8, 77133}}, "0101,47808,8,77133"},
      {{Date{127, 3, 9, 2}, Date{255, 255, 255, 255}, Date{255, 255, 255, 5}}, "2027-03-09,*-*-*,*-*-* 5"},
      {{Date{255, 13, 32, 255}, Date{127, 13, 1, 1}}, "*-13-32,2027-13-01 1"},
      {{Time{14, 5, 59, 7}, Time{255, 30, 255, 255}, Time{20, 13, 15, 246}}, "14:05:59.07,*:30:*.*,20:13:15.246"},
      {{Constructed{0, {Time{6, 15, 0, 0}, 22.5F}}, Constructed{1, {}}}, "{06:15:00.00,22.5},{}"},
      {{ContextPrimitive{2, "\x01\x2c"}, UnknownPrimitive{14, "\xab"}}, "012c,ab"},
  };
  for (const auto& [values, text] : cases) EXPECT_EQ(describe(values), text);
}

TEST(BacnetHeaders, WhatCannotBeIsRefused) {
  const std::string bvlcs[] = {"",         "81",         "820a0004",   "810a0005",
                               "810a0003", "8100000500", "8105000400", "810400090a000001ba"};
  for (const std::string& hex : bvlcs) EXPECT_FALSE(parseBvlc(bytesOfHex(hex))) << hex;
  const std::string npdus[] = {
      "",           "01",           "0200",                          // cut, another version
      "0120",       "0120000100",   "0120000000ff", "01200001022f",  // destination: cut, network 0, short address
      "0108000101", "01080000012f", "0108ffff012f", "0108000100",    // source: cut, no network, everybody, no address
      "0120000100", "0180",         "01808000",                      // no hop count, no message, no vendor
  };
  for (const std::string& hex : npdus) EXPECT_FALSE(parseNpdu(bytesOfHex(hex))) << hex;
  const std::string apdus[] = {"",         "00", "000501", "08050100", "10",   "2001", "3001",
                               "38010003", "40", "400100", "5001",     "6001", "7001", "8001020304"};
  for (const std::string& hex : apdus) EXPECT_FALSE(parseApdu(bytesOfHex(hex))) << hex;
}

TEST(BacnetHeaders, AnApduSizeIsNeverMoreThanItsDeviceTakes) {
  const std::pair<std::size_t, std::size_t> sizes[] = {{0, 50},    {50, 50},     {127, 50},
                                                       {479, 206}, {1475, 1024}, {9999, 1476}};
  for (const auto& [octets, sent] : sizes) {
    ConfirmedRequest request;
    request.maxApdu = octets;
    const auto read = parseApdu(encodeApdu(request));
    EXPECT_EQ(std::get<ConfirmedRequest>(*read).maxApdu, sent);
  }
  EXPECT_EQ(std::get<ConfirmedRequest>(*parseApdu(bytesOfHex("000f010c"))).maxApdu, 50U) << "an unknown code";
}

template <auto Parse>
bool accepts(std::string_view bytes) {
  return Parse(bytes).has_value();
}
std::optional<ErrorReply> parseWriteError(std::string_view bytes) {
  return parseError(ConfirmedService::kWritePropertyMultiple, bytes);
}

TEST(BacnetServices, WhatIsMissingOrTooMuchIsRefused) {
  using Parses = bool (*)(std::string_view);
  const std::tuple<std::string, Parses, std::string> cases[] = {
      {"I-Am of no device", accepts<parseIAm>, "c4000000012201e091002105"},
      {"I-Am with more", accepts<parseIAm>, "c4020000012201e09100210500"},
      {"half a range", accepts<parseWhoIs>, "0901"},
      {"no property", accepts<parseReadProperty>, "0c00000000"},
      {"more than a property", accepts<parseReadProperty>, "0c0000000019552101"},
      {"no value", accepts<parseReadPropertyAck>, "0c000000001955"},
      {"no list", accepts<parseReadPropertyMultiple>, ""},
      {"neither value nor error", accepts<parseReadPropertyMultipleAck>, "0c000000001e29551f"},
      {"half an error", accepts<parseReadPropertyMultipleAck>, "0c000000001e29555e91025f1f"},
      {"priority 256", accepts<parseWriteProperty>, "0c0000000019553e003f4a0100"},
      {"no value to write", accepts<parseWritePropertyMultiple>, "0c000000001e09551f"},
      {"a Boolean of 2", accepts<parseSubscribeCov>, "09011c000000002902"},
      {"notified by no device", accepts<parseCovNotification>, "09011c000000012c0000000139004e4f"},
      {"a failed write is missing", accepts<parseWriteError>, "0e910191010f"},
  };
  for (const auto& [what, parses, hex] : cases) EXPECT_FALSE(parses(bytesOfHex(hex))) << what;
}

TEST(BacnetServices, ADeviceOfUnknownSegmentationHasNone) {
  const auto iAm = parseIAm(bytesOfHex("c4020000012201e091072105"));
  ASSERT_TRUE(iAm);
  EXPECT_EQ(iAm->segmentation, Segmentation::kNone);
}

}  // namespace
