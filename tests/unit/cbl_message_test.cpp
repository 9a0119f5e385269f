#include <gtest/gtest.h>

#include "cbl/bus/velix_message.h"
#include "support/process_state.h"

namespace {

using cbl::CVelixMessage;
using Strings = std::vector<std::string>;
using namespace std::string_literals;

const std::string kGolden = "*2\r\n$13\r\nfunc@bac_read\r\n$1\r\n7\r\n";

Strings elementsOf(const CVelixMessage& message) {
  return message;
}

TEST(Message, WritesAndReadsTheGoldenBody) {
  CVelixMessage message;
  message.push_back("func@bac_read");
  message.push_back("7");
  std::string body = "what was there before";
  EXPECT_EQ(message.dump(body), 31);
  EXPECT_EQ(body, kGolden);

  CVelixMessage read;
  EXPECT_EQ(read.load((kGolden + "behind the length").data(), 31), 31);
  EXPECT_EQ(elementsOf(read), elementsOf(message));
}

TEST(Message, ElementsMayHoldAnyBytes) {
  const Strings elements = {"", "\r\n", "a\r\nb\0c"s, "$1\r\nx\r\n", "\0"s, std::string(70000, '\xFF'), "*2\r\n", ""};
  CVelixMessage written;
  for (const std::string& element : elements) written.push_back(element);
  std::string body;
  const std::int32_t length = written.dump(body);
  EXPECT_EQ(static_cast<std::size_t>(length), body.size());

  CVelixMessage read;
  EXPECT_EQ(read.load(body), length);
  EXPECT_EQ(elementsOf(read), elements);
}

TEST(Message, AnEmptyMessageDoesNotSurviveTheWay) {
  std::string body = "old";
  EXPECT_EQ(CVelixMessage().dump(body), 0);
  EXPECT_EQ(body, "");
  EXPECT_EQ(CVelixMessage().load(body), -1);
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
    CVelixMessage message;
    message.push_back("old");
    EXPECT_EQ(message.load(body), static_cast<std::int32_t>(body.size())) << body;
    EXPECT_EQ(elementsOf(message), elements) << body;
  }
}

TEST(Message, EveryDefectHasItsCodeAndChangesNothing) {
  const std::pair<std::string, std::int32_t> bodies[] = {
      {"", -1},
      {"2\r\n", -1},
      {" *0\r\n", -1},
      {"*", -2},
      {"*2", -2},
      {"*2\n", -2},
      {"*\r\n", -2},
      {"* 2\r\n", -2},
      {"*2 \r\n", -2},
      {"*0x1\r\n", -2},
      {"*+\r\n", -2},
      {"*-2\r\n", -2},
      {"*2147483648\r\n", -2},
      {"*99999999999\r\n", -2},
      {"*1\r\n", -3},
      {"*1\r\nx", -3},
      {"*2\r\n$1\r\na\r\n", -3},
      {"*2147483647\r\n$0\r\n\r\n", -3},
      {"*1\r\n$", -4},
      {"*1\r\n$5", -4},
      {"*1\r\n$\r\n", -4},
      {"*1\r\n$x\r\n", -4},
      {"*1\r\n$-2\r\n\r\n", -4},
      {"*1\r\n$99999999999\r\n\r\n", -4},
      {"*1\r\n$0\r\n", -5},
      {"*1\r\n$2\r\nab\r", -5},
      {"*1\r\n$2147483647\r\nab\r\n", -5},
      {"*1\r\n$2147483646\r\nab\r\n", -5},
      {"*2\r\n$1\r\na\r\n$2\r\nb\r\n", -5},
      {"*1\r\n$-1\r\n\r\n", -6},
      {"*1\r\n$2\r\nabc\r\n", -6},
      {"*1\r\n$2\r\nab\n\r", -6},
      {"*1\r\n$1\r\na\r\n\r\n", -7},
      {"*0\r\nx", -7},
      {"*-1\r\n$", -7},
  };
  CVelixMessage message;
  message.push_back("old");
  for (const auto& [body, code] : bodies) EXPECT_EQ(message.load(body), code) << body;
  EXPECT_EQ(message.load(nullptr, 5), -1);
  EXPECT_EQ(message.load(kGolden.data(), -1), -1);

  // In a buffer of the exact size, so that a read past the end is found out.
  for (std::size_t length = 0; length < kGolden.size(); ++length) {
    const std::vector<char> cut(kGolden.begin(), kGolden.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_LT(message.load(cut.data(), static_cast<std::int32_t>(length)), 0) << length;
  }
  EXPECT_EQ(elementsOf(message), Strings{"old"});
}

TEST(Message, SaysWhyTheCountCannotBeRead) {
  const struct {
    std::string body, out, err;
  } cases[] = {
      {"*2", "find integer failed: -2\n", ""},
      {"*\r\n", "find integer failed: -3\n", ""},
      {"*x\r\n", "find integer failed: -4\n", "xstring::toInt32 is not numeric\n"},
      {"*99999999999\r\n", "find integer failed: -4\n", "xstring::toInt32 exception: stoi std::out_of_range\n"},
      {"*-2\r\n", "find integer failed: -5\n", ""},
      {"*1\r\n$x\r\n", "", "xstring::toInt32 is not numeric\n"},
      {"*1\r\n", "", ""},
  };
  for (const auto& [body, out, err] : cases) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    CVelixMessage().load(body);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), out) << body;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), err) << body;
  }
}

TEST(Message, HostileNumbersCostNoMemory) {
  const std::string bodies[] = {"*2147483647\r\n", "*2147483647\r\n$0\r\n\r\n$0\r\n\r\n", "*1\r\n$2147483647\r\n"};
  const long before = support::statusKiB("VmPeak");
  for (const std::string& body : bodies) {
    CVelixMessage message;
    EXPECT_LT(message.load(body), 0);
  }
  EXPECT_LT(support::statusKiB("VmPeak"), before + 64 * 1024);
}

TEST(Message, TheBaseCarriesOnlyAType) {
  cbl::CBusMessage message;
  std::string body;
  EXPECT_EQ(message.load(kGolden), -1);
  EXPECT_EQ(message.load(kGolden.data(), 31), -1);
  EXPECT_EQ(message.dump(body), -1);
  EXPECT_EQ(message.getType(), 0);
  EXPECT_EQ(message.setType(255), 0);
  EXPECT_EQ(message.getType(), 255);
}

}  // namespace
