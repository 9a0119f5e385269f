#pragma once

#include <deque>
#include <optional>
#include <string>

#include "plant/value.h"

namespace tool {

/// The last few values of a point as a line of block characters, the smallest of them lowest. A text, or no value,
/// leaves a gap.
class CTrend {
 public:
  static constexpr std::size_t kLength = 24;

  void add(const std::optional<plant::Value>& value);
  std::string text() const;

 private:
  std::deque<std::optional<double>> values_;
};

}  // namespace tool
