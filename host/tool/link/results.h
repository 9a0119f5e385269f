#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "host/tool/link/batching.h"
#include "plant/value.h"

namespace tool {

/// What came of one access. Valid as long as the access, and until it is used again.
struct Result {
  const Access& access;
  std::optional<plant::Value> value;  ///< absent when the access failed, or the words are none of the point's type
  bool isGood;

  const plant::Point& point() const { return access.point; }
};

/// A read whose words are none of the point's type has failed, although its code is 0.
Result readResult(const Access& access);
Result writeResult(const Access& access);

/// One result per access, in their order.
std::vector<Result> resultsOf(const std::vector<Access>& accesses, Result (*resultOf)(const Access&));

bool areGood(const std::vector<Result>& results);

/// How many points were read, and how many of them in vain.
struct Tally {
  std::size_t reads = 0;
  std::size_t failures = 0;

  void add(const std::vector<Result>& results);
};

}  // namespace tool
