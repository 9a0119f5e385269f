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

TEST(XString, ToInt32HonoursTheBase) {
  const std::string invalid = exceptionLine("toInt32", "stoi", "invalid_argument");
  const std::string outOfRange = exceptionLine("toInt32", "stoi", "out_of_range");
  const struct {
    std::string text;
    std::uint32_t base;
    bool validate;
    std::int32_t status;
    std::int32_t value;  // 77, what it was before, when the status is not 0
    std::string message;
  } cases[] = {
      {"42", 10, kValidate, 0, 42, ""},
      {" 5", 10, kValidate, -1, 77, kNotNumeric},
      {" 5", 10, false, 0, 5, ""},
      {"5kg", 10, false, 0, 5, ""},
      {"", 10, kValidate, -1, 77, kNotNumeric},
      {"", 10, false, -127, 77, invalid},
      {"+", 10, kValidate, -127, 77, invalid},
      {"12\0x"s, 10, kValidate, -1, 77, kNotNumeric},
      {"2147483647", 10, kValidate, 0, 2147483647, ""},
      {"2147483648", 10, kValidate, -127, 77, outOfRange},
      {"-2147483648", 10, kValidate, 0, -2147483647 - 1, ""},
      {"-2147483649", 10, kValidate, -127, 77, outOfRange},
      {"101", 2, kValidate, 0, 5, ""},
      {"102", 2, kValidate, -1, 77, "xstring::toInt32 is not binary\n"},
      {"17", 8, kValidate, 0, 15, ""},
      {"0x1f", 16, kValidate, -1, 77, "xstring::toInt32 is not hex\n"},
      {"0x1f", 16, false, 0, 31, ""},
      {"101", 3, kValidate, -1, 77, ""},
      {"101", 3, false, 0, 10, ""},
  };
  for (const auto& [text, base, validate, status, value, message] : cases) {
    std::int32_t out = 77;
    CaptureStderr();
    EXPECT_EQ(xstring(text).toInt32(out, base, validate), status) << text;
    EXPECT_EQ(GetCapturedStderr(), message) << text;
    EXPECT_EQ(out, value) << text;
  }
}

TEST(XString, TheOtherIntegersAlwaysConvertInBase10) {
  std::uint32_t unsigned32 = 77;
  std::int64_t signed64 = 77;
  std::uint64_t unsigned64 = 77;
  CaptureStderr();
  EXPECT_EQ(xstring("ff").toUint32(unsigned32, 16, true), -127);
  EXPECT_EQ(xstring("9223372036854775808").toInt64(signed64, 10, true), -127);
  EXPECT_EQ(xstring("18446744073709551616").toUint64(unsigned64, 10, true), -127);
  EXPECT_EQ(GetCapturedStderr(), exceptionLine("toUint32", "stoul", "invalid_argument") +
                                     exceptionLine("toInt64", "stoll", "out_of_range") +
                                     exceptionLine("toUint64", "stoull", "out_of_range"));
  EXPECT_EQ(std::tie(unsigned32, signed64, unsigned64), std::make_tuple(77U, 77, 77U));
  for (const auto& [text, base, value] : {std::tuple("1f", 16U, 1U), {"-1", 10U, 4294967295U}}) {
    EXPECT_EQ(xstring(text).toUint32(unsigned32, base, true), 0) << text;
    EXPECT_EQ(unsigned32, value) << text;
  }
  EXPECT_EQ(xstring("-9223372036854775808").toInt64(signed64, 10, true), 0);
  EXPECT_EQ(signed64, std::numeric_limits<std::int64_t>::min());
}

TEST(XString, FloatingPoint) {
  float single = 77;
  double out = 77;
  long double extended = 77;
  CaptureStderr();
  EXPECT_EQ(xstring("1e39").toFloat(single), -127);
  EXPECT_EQ(xstring("abc").toDouble(out), -127);
  EXPECT_EQ(xstring("1e9999").toLongDouble(extended), -127);
  EXPECT_EQ(GetCapturedStderr(), exceptionLine("toFloat", "stof", "out_of_range") +
                                     exceptionLine("toDouble", "stod", "invalid_argument") +
                                     exceptionLine("toLongDouble", "stold", "out_of_range"));
  EXPECT_EQ(out, 77);
  EXPECT_EQ(xstring(" 3.5kg").toDouble(out), 0);
  EXPECT_EQ(out, 3.5);
}

TEST(Log, LevelsChooseTheStream) {
  const std::tuple<std::int32_t, std::string, std::string> cases[] = {
      {1, "", ""},
      {2, "[KORM]: a 5\n", ""},
      {3, "", "[KORM] {err:No such file or directory}: a 5\n"},
      {4, "[KORM]: a 5\n", ""}};
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
