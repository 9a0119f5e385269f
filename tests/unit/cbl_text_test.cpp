#include <gtest/gtest.h>

#include <cerrno>
#include <limits>
#include <regex>

#include "cbl/log/cbl_log.h"
#include "cbl/log/hex_dump.h"
#include "cbl/log/log_line.h"
#include "cbl/text/xstring.h"

namespace {

using cbl::xstring;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;
using namespace std::string_literals;

constexpr bool kValidate = true;
const std::string kNotNumeric = "xstring::toInt32 is not numeric\n";

std::string exceptionLine(const std::string& operation, const std::string& standard, const std::string& type) {
  return "xstring::" + operation + " exception: " + standard + " std::" + type + "\n";
}

template <typename Number>
struct IntegerCase {
  std::string text;
  std::uint32_t base;
  bool validate;
  std::int32_t status;
  Number value;  // expected on status 0
  std::string message;
};

template <typename Number>
void check(std::int32_t (xstring::*convert)(Number&, std::uint32_t, bool) const,
           const std::vector<IntegerCase<Number>>& cases) {
  for (const auto& [text, base, validate, status, value, message] : cases) {
    Number out = 77;
    CaptureStderr();
    EXPECT_EQ((xstring(text).*convert)(out, base, validate), status) << text;
    EXPECT_EQ(GetCapturedStderr(), message) << text;
    EXPECT_EQ(out, status == 0 ? value : Number{77}) << text;
  }
}

TEST(XString, ToInt32HonoursTheBase) {
  const std::string invalid = exceptionLine("toInt32", "stoi", "invalid_argument");
  const std::string outOfRange = exceptionLine("toInt32", "stoi", "out_of_range");
  const std::vector<IntegerCase<std::int32_t>> cases = {
      {"42", 10, kValidate, 0, 42, ""},
      {"-42", 10, kValidate, 0, -42, ""},
      {"+5", 10, kValidate, 0, 5, ""},
      {"007", 10, kValidate, 0, 7, ""},
      {" 5", 10, kValidate, -1, 0, kNotNumeric},
      {" 5", 10, false, 0, 5, ""},
      {"5 ", 10, kValidate, -1, 0, kNotNumeric},
      {"5kg", 10, false, 0, 5, ""},
      {"--5", 10, kValidate, -1, 0, kNotNumeric},
      {"", 10, kValidate, -1, 0, kNotNumeric},
      {"", 10, false, -127, 0, invalid},
      {"+", 10, kValidate, -127, 0, invalid},
      {"12\0x"s, 10, kValidate, -1, 0, kNotNumeric},
      {"12\0x"s, 10, false, 0, 12, ""},
      {"2147483647", 10, kValidate, 0, 2147483647, ""},
      {"2147483648", 10, kValidate, -127, 0, outOfRange},
      {"-2147483648", 10, kValidate, 0, -2147483647 - 1, ""},
      {"-2147483649", 10, kValidate, -127, 0, outOfRange},
      {"99999999999999999999", 10, kValidate, -127, 0, outOfRange},
      {"101", 2, kValidate, 0, 5, ""},
      {"102", 2, kValidate, -1, 0, "xstring::toInt32 is not binary\n"},
      {"-1", 2, kValidate, -1, 0, "xstring::toInt32 is not binary\n"},
      {"17", 8, kValidate, 0, 15, ""},
      {"18", 8, kValidate, -1, 0, "xstring::toInt32 is not octal\n"},
      {"", 8, kValidate, -1, 0, "xstring::toInt32 is not octal\n"},
      {"ff", 16, kValidate, 0, 255, ""},
      {"0x1f", 16, kValidate, -1, 0, "xstring::toInt32 is not hex\n"},
      {"0x1f", 16, false, 0, 31, ""},
      {"101", 3, kValidate, -1, 0, ""},
      {"101", 3, false, 0, 10, ""},
  };
  check(&xstring::toInt32, cases);
}

TEST(XString, TheOtherIntegersAlwaysConvertInBase10) {
  const std::vector<IntegerCase<std::uint32_t>> unsigned32 = {
      {"4294967295", 10, kValidate, 0, 4294967295U, ""},
      {"4294967296", 10, kValidate, 0, 0, ""},
      {"-1", 10, kValidate, 0, 4294967295U, ""},
      {"1f", 16, kValidate, 0, 1, ""},
      {"ff", 16, kValidate, -127, 0, exceptionLine("toUint32", "stoul", "invalid_argument")},
      {"x", 10, kValidate, -1, 0, kNotNumeric},
  };
  const std::vector<IntegerCase<std::int64_t>> signed64 = {
      {"-9223372036854775808", 10, kValidate, 0, std::numeric_limits<std::int64_t>::min(), ""},
      {"9223372036854775808", 10, kValidate, -127, 0, exceptionLine("toInt64", "stoll", "out_of_range")},
      {"11", 2, kValidate, 0, 11, ""},
  };
  const std::vector<IntegerCase<std::uint64_t>> unsigned64 = {
      {"18446744073709551615", 10, kValidate, 0, std::numeric_limits<std::uint64_t>::max(), ""},
      {"18446744073709551616", 10, kValidate, -127, 0, exceptionLine("toUint64", "stoull", "out_of_range")},
      {"17", 8, kValidate, 0, 17, ""},
  };
  check(&xstring::toUint32, unsigned32);
  check(&xstring::toInt64, signed64);
  check(&xstring::toUint64, unsigned64);
}

template <typename Number>
void checkFloating(std::int32_t (xstring::*convert)(Number&) const, const std::string& operation,
                   const std::string& standard, const std::string& tooLarge) {
  Number out = 77;
  EXPECT_EQ((xstring(" 3.5kg").*convert)(out), 0);
  EXPECT_EQ(out, Number{3.5});
  CaptureStderr();
  EXPECT_EQ((xstring("abc").*convert)(out), -127);
  EXPECT_EQ((xstring(tooLarge).*convert)(out), -127);
  EXPECT_EQ(GetCapturedStderr(), exceptionLine(operation, standard, "invalid_argument") +
                                     exceptionLine(operation, standard, "out_of_range"));
  EXPECT_EQ(out, Number{3.5});
}

TEST(XString, FloatingPoint) {
  checkFloating<float>(&xstring::toFloat, "toFloat", "stof", "1e39");
  checkFloating<double>(&xstring::toDouble, "toDouble", "stod", "1e999");
  checkFloating<long double>(&xstring::toLongDouble, "toLongDouble", "stold", "1e9999");
}

TEST(XString, KeepsErrnoUnlessTheConversionSetsIt) {
  const std::pair<std::string, int> cases[] = {{"5", EPERM}, {"x", EPERM}, {"99999999999999999999", ERANGE}};
  for (const auto& [text, expected] : cases) {
    std::int32_t out = 0;
    CaptureStderr();
    errno = EPERM;
    xstring(text).toInt32(out);
    const int left = errno;
    GetCapturedStderr();
    EXPECT_EQ(left, expected) << text;
  }
}

TEST(Log, LevelsChooseTheStream) {
  const struct {
    std::int32_t level;
    std::string out, err;
  } cases[] = {
      {-1, "", ""},
      {1, "", ""},
      {2, "[KORM]: a 5\n", ""},
      {3, "", "[KORM] {err:No such file or directory}: a 5\n"},
      {4, "[KORM]: a 5\n", ""},
  };
  for (const auto& [level, out, err] : cases) {
    CaptureStdout();
    CaptureStderr();
    errno = ENOENT;
    cbl::cblLog(level, "%s %d\n", "a", 5);
    EXPECT_EQ(GetCapturedStdout(), out) << level;
    EXPECT_EQ(GetCapturedStderr(), err) << level;
  }
}

TEST(Log, LinesCarryTimeAndTag) {
  CaptureStdout();
  cbl::logLine(cbl::kLogicTag, "Velix service needs restart (LinkID: %d)", 3);
  cbl::logLine(cbl::kErrorTag, "100%%");
  const std::string time = R"(\[([01]\d|2[0-3]):[0-5]\d:[0-6]\d\])";
  const std::regex expected(time + R"(\[LOGIC \] Velix service needs restart \(LinkID: 3\)\n)" + time +
                            R"(\[ERROR \] 100%\n)");
  const std::string lines = GetCapturedStdout();
  EXPECT_TRUE(std::regex_match(lines, expected)) << lines;
}

TEST(Log, HexDump) {
  const std::uint8_t bytes[] = {0x01, 0xA0, 0xFF};
  CaptureStdout();
  cbl::hexDump("rx", bytes, 2);
  cbl::hexDump(nullptr, bytes + 2, 1);
  cbl::hexDump("none", bytes, 0);
  cbl::hexDump("none", bytes, -1);
  EXPECT_EQ(GetCapturedStdout(), "rx: [ 01 a0 ]\n[ ff ]\nnone: [ ]\nnone: [ ]\n");
}

}  // namespace
