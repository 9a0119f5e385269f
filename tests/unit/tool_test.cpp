#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "host/tool/view/trend.h"
#include "host/tool/link/statistics.h"

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
