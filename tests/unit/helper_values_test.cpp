#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <map>
#include <ostream>
#include <string>
#include <variant>
#include <vector>

#include "bacnet/codec/describe.h"
#include "bacnet/codec/text.h"
#include "bacnet/codec/value_text.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"
#include "binding/helper_options.h"
#include "binding/link_settings.h"
#include "binding/point_plan.h"
#include "binding/value_in.h"
#include "binding/value_out.h"

namespace binding {
namespace {

using bacnet::ApplicationType;
using plant::DataType;

constexpr float kInfinity = std::numeric_limits<float>::infinity();

bacnet::Value enumerated(std::uint32_t number) {
  return bacnet::Enumerated{number};
}
bacnet::Value bits(const char* text) {
  return *bacnet::valueOf(text, ApplicationType::kBitString);
}
bacnet::Value text(const char* utf8) {
  return bacnet::characterString(utf8);
}

plant::Point pointOf(DataType type, std::int32_t bitNum = 0, std::int32_t size = 4) {
  plant::Point point;
  point.type = type;
  point.bitNum = bitNum;
  point.size = size;
  return point;
}

struct ReadRow {
  const char* name;
  plant::Point point;
  bacnet::Values answer;
  ResultCode code;
  const char* value;  // as plant::toText writes it
};

TEST(ValuesFromADevice, BecomeThePointsTypeOrACode) {
  const auto kNo = ResultCode::kDoesNotFit;
  const auto kOk = ResultCode::kDone;
  const std::string kManyBits = std::string(70, '0') + "1";
  const std::vector<ReadRow> rows = {
      {"active", pointOf(DataType::kBool), {enumerated(1)}, kOk, "true"},
      {"a bit of a bit string", pointOf(DataType::kBool, 1), {bits("0100")}, kOk, "true"},
      {"a bit beyond", pointOf(DataType::kBool, 4), {bits("0100")}, kNo, ""},
      {"a bit of more than a number has", pointOf(DataType::kBool, 70), {bits(kManyBits.c_str())}, kOk, "true"},
      {"a bit beyond those", pointOf(DataType::kBool, 71), {bits(kManyBits.c_str())}, kNo, ""},
      {"a mask of so many", pointOf(DataType::kUdint), {bits(kManyBits.c_str())}, kNo, ""},
      {"a bit of an integer", pointOf(DataType::kBool, 3), {std::uint64_t{8}}, kOk, "true"},
      {"a bit of a negative one", pointOf(DataType::kBool, 63), {std::int64_t{-1}}, kOk, "true"},
      {"a bit beyond an integer", pointOf(DataType::kBool, 64), {std::uint64_t{8}}, kNo, ""},
      {"a real that is not 0", pointOf(DataType::kBool), {-0.25F}, kOk, "true"},
      {"not a number is neither", pointOf(DataType::kBool), {std::nanf("")}, kNo, ""},
      {"real", pointOf(DataType::kReal), {21.5F}, kOk, "21.5"},
      {"infinity stays in a REAL", pointOf(DataType::kReal), {kInfinity}, kOk, "inf"},
      {"a double beyond a REAL", pointOf(DataType::kReal), {1e300}, kNo, ""},
      {"a double", pointOf(DataType::kDouble, 0, 8), {0.1}, kOk, "0.1"},
      {"an integer as REAL", pointOf(DataType::kReal), {std::int64_t{-3}}, kOk, "-3"},
      {"half away from zero", pointOf(DataType::kUdint), {2.5F}, kOk, "3"},
      {"below, too", pointOf(DataType::kUdint), {-2.5F}, kOk, "4294967293"},
      {"infinity is no integer", pointOf(DataType::kUdint), {kInfinity}, kNo, ""},
      {"NaN is no integer", pointOf(DataType::kUdint), {std::nanf("")}, kNo, ""},
      {"two's complement", pointOf(DataType::kUint), {std::int64_t{-2}}, kOk, "4294967294"},
      {"the least", pointOf(DataType::kUint), {std::int64_t{-2147483648LL}}, kOk, "2147483648"},
      {"below the least", pointOf(DataType::kUint), {std::int64_t{-2147483649LL}}, kNo, ""},
      {"a signed one that would look negative", pointOf(DataType::kUint), {std::int64_t{2147483648LL}}, kNo, ""},
      {"the largest", pointOf(DataType::kUint), {std::uint64_t{4294967295U}}, kOk, "4294967295"},
      {"above the largest", pointOf(DataType::kUint), {std::uint64_t{4294967296U}}, kNo, ""},
      {"a mask", pointOf(DataType::kUdint), {bits("1011")}, kOk, "13"},
      {"too much for one byte", pointOf(DataType::kEnumerated, 0, 1), {enumerated(256)}, kNo, ""},
      {"a text for a number", pointOf(DataType::kReal), {text("21")}, kNo, ""},
      {"several values", pointOf(DataType::kReal), {1.0F, 2.0F}, kNo, ""},
      {"no value", pointOf(DataType::kReal), {}, kNo, ""},
      {"Null", pointOf(DataType::kReal), {bacnet::Null{}}, ResultCode::kNull, ""},
      {"Null is no text either", pointOf(DataType::kString), {bacnet::Null{}}, ResultCode::kNull, ""},
      {"an array as text", pointOf(DataType::kString), {text("aus"), text("an")}, kOk, "aus,an"},
      {"cut at a whole character", pointOf(DataType::kString), {text("Kühlung läuft")}, kOk, "Kühlung l"},
      {"a number as text", pointOf(DataType::kString), {21.5F}, kOk, "21.5"},
      {"an object as text", pointOf(DataType::kString), {bacnet::ObjectId{8, 4711}}, kOk, "8,4711"},
  };
  constexpr std::int32_t kRegister = 11;  // bytes: the umlaut would be its last one and one more
  for (const ReadRow& row : rows) {
    SCOPED_TRACE(row.name);
    plant::Value value = std::string("untouched");
    EXPECT_EQ(fromDevice(row.answer, row.point, kRegister, value), row.code);
    EXPECT_EQ(plant::toText(value), row.code == kOk ? row.value : "untouched");
  }
}

struct WriteRow {
  const char* name;
  plant::Point point;
  plant::Value value;
  ApplicationType type;
  bacnet::Values current;
  const char* written;  // as bacnet::describe writes it; null: it does not fit
};

TEST(ValuesForADevice, AreOfTheTypeThatItTakes) {
  const plant::Point real = pointOf(DataType::kReal);
  const plant::Point whole = pointOf(DataType::kUdint);
  const plant::Point string = pointOf(DataType::kString);
  const auto bit = [](std::int32_t number) { return pointOf(DataType::kBool, number); };
  const std::vector<WriteRow> rows = {
      {"a BOOL for a binary object", bit(0), true, ApplicationType::kEnumerated, {}, "1"},
      {"a REAL for a multi-state", real, 2.6F, ApplicationType::kUnsigned, {}, "3"},
      {"a negative one is refused", real, -1.0F, ApplicationType::kUnsigned, {}, nullptr},
      {"NaN for an integer", real, std::nanf(""), ApplicationType::kSigned, {}, nullptr},
      {"infinity for a Real", real, kInfinity, ApplicationType::kReal, {}, "inf"},
      {"a DOUBLE beyond a Real", pointOf(DataType::kDouble), 1e300, ApplicationType::kReal, {}, nullptr},
      {"an integer for a Real", whole, std::uint32_t{7}, ApplicationType::kReal, {}, "7"},
      {"two's complement", whole, std::uint32_t{4294967293U}, ApplicationType::kSigned, {}, "-3"},
      {"an integer for a Boolean", whole, std::uint32_t{2}, ApplicationType::kBoolean, {}, "true"},
      {"a number for a text", whole, std::uint32_t{12}, ApplicationType::kCharacterString, {}, "12"},
      {"a number for a date", whole, std::uint32_t{12}, ApplicationType::kDate, {}, nullptr},
      {"one bit of many", bit(1), true, ApplicationType::kBitString, {bits("101")}, "111"},
      {"a bit beyond", bit(3), true, ApplicationType::kBitString, {bits("101")}, nullptr},
      {"a mask as long as the device's", whole, std::uint32_t{2}, ApplicationType::kBitString, {bits("101")}, "010"},
      {"a mask that is longer", whole, std::uint32_t{8}, ApplicationType::kBitString, {bits("101")}, nullptr},
      {"one bit of an integer", bit(2), false, ApplicationType::kUnsigned, {std::uint64_t{7}}, "3"},
      {"of a negative one", bit(0), false, ApplicationType::kSigned, {std::int64_t{-1}}, "-2"},
      {"of what is no integer", bit(0), false, ApplicationType::kUnsigned, {1.0F}, nullptr},
      {"text", string, std::string("Küche"), ApplicationType::kCharacterString, {}, "Küche"},
      {"text for a Real", string, std::string("21.5"), ApplicationType::kReal, {}, "21.5"},
      {"text that is no number", string, std::string("21,5"), ApplicationType::kReal, {}, nullptr},
      {"octets", string, std::string("00ff"), ApplicationType::kOctetString, {}, "00ff"},
      {"half an octet", string, std::string("0"), ApplicationType::kOctetString, {}, nullptr},
      {"a date", string, std::string("2026-11-21"), ApplicationType::kDate, {}, "2026-11-21"},
      {"every Friday", string, std::string("*-*-* 5"), ApplicationType::kDate, {}, "*-*-* 5"},
      {"a year that no date has", string, std::string("2156-01-01"), ApplicationType::kDate, {}, nullptr},
      {"a time", string, std::string("12:30:*"), ApplicationType::kTime, {}, "12:30:*.00"},
      {"an object", string, std::string("8,4194303"), ApplicationType::kObjectId, {}, "8,4194303"},
      {"an object too far", string, std::string("8,4194304"), ApplicationType::kObjectId, {}, nullptr},
  };
  for (const WriteRow& row : rows) {
    SCOPED_TRACE(row.name);
    bacnet::Values out;
    EXPECT_EQ(needsCurrent(row.point, row.type), !row.current.empty());
    const ResultCode code = toDevice(row.value, row.point, row.type, row.current, out);
    EXPECT_EQ(code, row.written != nullptr ? ResultCode::kDone : ResultCode::kDoesNotFit);
    if (row.written == nullptr) continue;
    EXPECT_EQ(bacnet::describe(out), row.written);
    EXPECT_EQ(bacnet::typeOf(out), row.type);
  }
}

TEST(ValuesForADevice, HaveTheWeekdayOfTheirDay) {
  const std::map<std::string, int> weekdays = {
      {"1900-01-01", 1}, {"2000-02-29", 2}, {"2026-11-22", 7}, {"2026-13-01", 255}};
  for (const auto& [day, weekday] : weekdays) {
    EXPECT_EQ(std::get<bacnet::Date>(*bacnet::valueOf(day, ApplicationType::kDate)).weekday, weekday) << day;
  }
}

struct PlanRow {
  const char* name;
  std::int32_t objectType;
  std::int32_t propId;
  std::int32_t arrayIndex;
  bool isRelease;
  int priority;  // 0: none
  std::uint32_t writtenProperty;
  int refused;
};

TEST(PointPlan, SaysWhereAndAtWhichPriorityAPointIsWritten) {
  const std::vector<PlanRow> rows = {
      {"analog input", 0, 85, -1, false, 0, 85, 0},
      {"analog output", 1, 85, -1, false, 8, 85, 0},
      {"time value", 50, 85, -1, false, 8, 85, 0},
      {"schedule", 17, 85, -1, false, 0, 85, 0},
      {"release", 4, 85, -1, true, 8, 85, 0},
      {"slot 3", 4, 87, 3, false, 3, 85, 0},
      {"release of slot 16", 4, 87, 16, true, 16, 85, 0},
      {"the reserved slot", 4, 87, 6, false, 0, 85, 24},
      {"the number of slots", 4, 87, 0, false, 0, 85, 24},
      {"no such slot", 4, 87, 17, false, 0, 85, 24},
      {"all slots", 4, 87, -1, false, 0, 85, 1040},
      {"state text 2", 14, 110, 2, false, 0, 110, 0},
  };
  for (const PlanRow& row : rows) {
    SCOPED_TRACE(row.name);
    plant::Point point;
    point.objectType = row.objectType;
    point.propId = row.propId;
    point.arrayIndex = row.arrayIndex;
    point.priorityReset = row.isRelease;
    const PointPlan plan = planPoint(point, 8);
    EXPECT_EQ(plan.priority.value_or(0), row.priority);
    EXPECT_EQ(plan.write.reference.property, row.writtenProperty);
    EXPECT_EQ(static_cast<int>(plan.writeRefused), row.refused);
    EXPECT_EQ(plan.isRelease, row.isRelease);
    EXPECT_EQ(plan.refused, ResultCode::kDone);
  }
  plant::Point odd;
  odd.instance = 4194304;
  EXPECT_EQ(planPoint(odd, 8).refused, ResultCode::kConfiguration);
}

TEST(WrittenType, IsTheStandardsOrTheDevices) {
  namespace object = bacnet::object_type;
  namespace property = bacnet::property;
  EXPECT_EQ(writtenType(object::kBinaryValue, {property::kPresentValue, {}}), ApplicationType::kEnumerated);
  EXPECT_EQ(writtenType(object::kMultiStateValue, {property::kRelinquishDefault, {}}), ApplicationType::kUnsigned);
  EXPECT_EQ(writtenType(object::kLargeAnalogValue, {property::kHighLimit, {}}), ApplicationType::kDouble);
  EXPECT_EQ(writtenType(object::kIntegerValue, {property::kCovIncrement, {}}), ApplicationType::kUnsigned);
  EXPECT_EQ(writtenType(object::kAnalogInput, {property::kOutOfService, {}}), ApplicationType::kBoolean);
  EXPECT_EQ(writtenType(object::kSchedule, {property::kPresentValue, {}}), std::nullopt);
  EXPECT_EQ(writtenType(object::kMultiStateValue, {property::kStateText, 0U}), ApplicationType::kUnsigned);
  EXPECT_EQ(writtenType(700, {property::kPresentValue, {}}), std::nullopt);
}

struct LinkRow {
  const char* name;
  void (*change)(plant::Link& link);
  const char* error;    // part of it; null: it is understood
  const char* station;  // where the device is, "" where it has to be found
};

TEST(LinkSettings, AreUnderstoodOrRefusedInWords) {
  const std::vector<LinkRow> rows = {
      {"an address", [](plant::Link& l) { l.ip = "192.0.2.7"; }, nullptr, "192.0.2.7:47808"},
      {"a port", [](plant::Link& l) { l.ip = "192.0.2.7", l.desPort = 47809; }, nullptr, "192.0.2.7:47809"},
      {"a device to be found", [](plant::Link& l) { l.deviceId = 4711; }, nullptr, ""},
      {"nothing", [](plant::Link&) {}, "DeviceId is needed", ""},
      {"anybody", [](plant::Link& l) { l.deviceId = 4194303; }, "DeviceId is needed", ""},
      {"no address", [](plant::Link& l) { l.ip = "192.0.2.07"; }, "is no address", ""},
      {"no port", [](plant::Link& l) { l.ip = "192.0.2.7", l.srcPort = 65536; }, "SrcPort 65536", ""},
      {"no device", [](plant::Link& l) { l.deviceId = 4194304; }, "DeviceId 4194304", ""},
      {"behind a router", [](plant::Link& l) { l.ip = "192.0.2.7", l.network = 2765, l.virtualMac = "2f"; }, nullptr,
       "192.0.2.7:47808 2765:2f"},
      {"a router's device to be found",
       [](plant::Link& l) { l.ip = "192.0.2.7", l.mode = 1, l.network = 2765, l.deviceId = 5; }, nullptr, ""},
      {"an address behind a router to be found",
       [](plant::Link& l) { l.network = 2765, l.virtualMac = "47", l.macLen = 1; }, nullptr, ""},
      {"a router without network", [](plant::Link& l) { l.ip = "192.0.2.7", l.mode = 1; }, "Mode 1", ""},
      {"everybody's network", [](plant::Link& l) { l.ip = "192.0.2.7", l.network = 65535; }, "Network 65535", ""},
      {"a BBMD", [](plant::Link& l) { l.ip = "192.0.2.7", l.mode = 2, l.deviceId = 5; }, nullptr, ""},
      {"no BBMD", [](plant::Link& l) { l.mode = 2, l.deviceId = 5; }, "Mode 2", ""},
      {"no station", [](plant::Link& l) { l.ip = "192.0.2.7", l.network = 5, l.virtualMac = "xy"; }, "VirtualMac", ""},
  };
  for (const LinkRow& row : rows) {
    SCOPED_TRACE(row.name);
    plant::Link link;
    row.change(link);
    std::string error;
    const auto settings = readLinkSettings(link, error);
    ASSERT_EQ(settings.has_value(), row.error == nullptr) << error;
    if (row.error != nullptr) {
      EXPECT_THAT(error, testing::HasSubstr(row.error));
      continue;
    }
    std::string station;
    if (const auto& found = settings->device.station) {
      station = io::addressText(found->address);
      if (found->remote) {
        station += " " + std::to_string(found->remote->network) + ":" +
                   bacnet::describe(bacnet::OctetString{found->remote->mac});
      }
    }
    EXPECT_EQ(station, row.station);
    EXPECT_EQ(settings->bbmd.has_value(), link.mode == 2);
  }
}

TEST(VirtualMac, IsReadAsItsLengthSays) {
  EXPECT_EQ(parseMac("47", 1), std::string("\x2f"));
  EXPECT_EQ(parseMac("256", 1), std::nullopt);
  EXPECT_EQ(parseMac("192.0.2.7:47809", 6), std::string("\xc0\x00\x02\x07\xba\xc1", 6));
  EXPECT_EQ(parseMac("c0-00-02-07-ba-c1", 0), std::string("\xc0\x00\x02\x07\xba\xc1", 6));
  EXPECT_EQ(parseMac("0A:0b", 2), std::string("\x0a\x0b"));
  EXPECT_EQ(parseMac("0a0b", 3), std::nullopt);
  EXPECT_EQ(parseMac("", 0), std::nullopt);
}

TEST(HelperOptions, TakeWhatTheyKnowAndNameTheRest) {
  HelperOptions options;
  std::string error;
  ASSERT_TRUE(parseHelperOptions(R"({"batch": "strict", "priority": 10, "faultCode": true, "readAheadMs": 0})", options,
                                 error));
  EXPECT_TRUE(options.isBatchStrict && options.isFaultRefused);
  EXPECT_EQ(options.priority, 10);
  EXPECT_EQ(options.readAhead, io::Duration::zero());

  const HelperOptions before = options;
  for (const char* wrong :
       {"", "[]", R"({"priority": 6})", R"({"priority": 17})", R"({"batch": true})", R"({"bach": "strict"})",
        R"({"broadcast": "1.2.3"})", R"({"ownPort": 1})", R"({"readAheadMs": 10001})", R"({"a\nb": 1})"}) {
    error.clear();
    EXPECT_FALSE(parseHelperOptions(wrong, options, error)) << wrong;
    EXPECT_NE(error, "") << wrong;
    EXPECT_EQ(error.find('\n'), std::string::npos) << "one line";
    EXPECT_EQ(options, before);
  }
}

}  // namespace
}  // namespace binding
