#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>

#include "host/tool/console/records.h"
#include "host/tool/link/result_codes.h"
#include "host/tool/link/statistics.h"
#include "host/tool/view/trend.h"

namespace {

using Values = std::vector<std::optional<plant::Value>>;

TEST(Trend, DrawsTheNewestValuesBetweenLowestAndHighest) {
  constexpr double kHuge = std::numeric_limits<double>::max();
  const std::pair<Values, std::string> cases[] = {
      {{}, ""},
      {{5.0}, "▁"},
      {{2.0F, 2.0F}, "▁▁"},
      {{0.0, 7.0, 3.0}, "▁█▄"},
      {{-kHuge, kHuge, 0.0}, "▁█▅"},
      {{false, true, std::nullopt, std::string("text"), 1U}, "▁█  █"},
      {{1.0, std::nan(""), HUGE_VAL, 2.0}, "▁  █"},
  };
  for (const auto& [values, text] : cases) {
    tool::CTrend trend;
    for (const auto& value : values) trend.add(value);
    EXPECT_EQ(trend.text(), text);
  }
  tool::CTrend full;
  full.add(1000.0);
  for (std::size_t i = 0; i < tool::CTrend::kLength; ++i) full.add(i == 0 ? 1.0 : 2.0);
  EXPECT_EQ(full.text().substr(0, 6), "▁█") << "the oldest has gone";
}

TEST(Table, ShortensNamesBeforeValuesAreCut) {
  tool::CTable table({{"name", "Name"}, {"value", "Value", true}, {"words", "Words"}});
  const tool::Record row = {{"name", "Außenluft.Temperatur"}, {"value", 21.5}, {"words", {16812, 0}}};
  table.fit(row);
  const std::pair<std::size_t, std::string> lines[] = {
      {27, "Außenluft.Temperatur   21.5  16812 0"},
      {24, "Außenluf…mperatur   21.5  16812 0"},
      {0, "Auß…atur   21.5  16812 0"},
  };
  for (const auto& [width, line] : lines) {
    table.shorten("name", "value", width);
    EXPECT_EQ(table.line(row), line) << width;
  }
  EXPECT_EQ(tool::shortenedTo("äöü", 1), "…");
}

TEST(ResultCodes, AreToldInWordsThatThePageHas) {
  std::ifstream file(SOURCE_DIR "/docs/hmi-host.md");
  const std::string page{std::istreambuf_iterator<char>(file), {}};
  for (const std::int32_t code : {-99, -1, 1, 2, 3, 4, 5, 6, 7, 8, 20, 21, 22, 23, 24, 25, 26, 27, 28}) {
    const tool::CodeText text = tool::textOf(code);
    EXPECT_NE(page.find("| " + std::to_string(code) + " | " + text.meaning + " | " + text.remedy + " |"),
              std::string::npos)
        << code << " " << text.meaning;
  }
  const std::pair<std::int32_t, std::string> answers[] = {
      {1031, "error unknown-object"},
      {1999, "error 999 or above"},
      {2009, "reject unrecognized-service"},
      {3004, "abort segmentation-not-supported"},
      {3200, "abort 200"},
  };
  for (const auto& [code, words] : answers) EXPECT_EQ(tool::textOf(code).meaning, "the device answers " + words);
  EXPECT_EQ(tool::textOf(19).meaning, tool::textOf(-7).meaning) << "nobody knows these";
}

TEST(Statistics, PercentilesAreOfTheNewestCalls) {
  using std::chrono::nanoseconds;
  tool::CStatistics statistics;
  EXPECT_EQ(statistics.percentile(50), nanoseconds(0));
  for (int i = 100; i >= 1; --i) statistics.add(nanoseconds(i));
  const std::pair<double, int> ranks[] = {{0, 1}, {1, 1}, {50, 50}, {99, 99}, {99.5, 100}, {100, 100}};
  for (const auto& [percent, expected] : ranks) EXPECT_EQ(statistics.percentile(percent), nanoseconds(expected));
  for (std::size_t i = 0; i < tool::CStatistics::kKept; ++i) statistics.add(nanoseconds(7));
  EXPECT_EQ(statistics.percentile(100), nanoseconds(7));
  EXPECT_EQ(statistics.minimum(), nanoseconds(1));
  EXPECT_EQ(statistics.count(), tool::CStatistics::kKept + 100);
}

}  // namespace
