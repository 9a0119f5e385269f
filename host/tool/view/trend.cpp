#include "host/tool/view/trend.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <type_traits>
#include <variant>

namespace tool {

namespace {

constexpr std::array<const char*, 8> kBlocks = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};

std::optional<double> numberOf(const plant::Value& value) {
  return std::visit(
      [](const auto& held) -> std::optional<double> {
        if constexpr (std::is_same_v<std::decay_t<decltype(held)>, std::string>) {
          return std::nullopt;
        } else {
          const auto number = static_cast<double>(held);
          return std::isfinite(number) ? std::optional(number) : std::nullopt;
        }
      },
      value);
}

}  // namespace

void CTrend::add(const std::optional<plant::Value>& value) {
  values_.push_back(value ? numberOf(*value) : std::nullopt);
  if (values_.size() > kLength) values_.pop_front();
}

std::string CTrend::text() const {
  double lowest = std::numeric_limits<double>::max();
  double highest = std::numeric_limits<double>::lowest();
  for (const auto& value : values_) {
    if (!value) continue;
    lowest = std::min(lowest, *value);
    highest = std::max(highest, *value);
  }

  // Halved, because the range of two doubles may be larger than any double.
  const double range = highest / 2 - lowest / 2;
  std::string text;
  for (const auto& value : values_) {
    const double part = value && range > 0 ? (*value / 2 - lowest / 2) / range : 0;
    text += value ? kBlocks[static_cast<std::size_t>(std::lround(part * (kBlocks.size() - 1)))] : " ";
  }
  return text;
}

}  // namespace tool
