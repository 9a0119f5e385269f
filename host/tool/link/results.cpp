#include "host/tool/link/results.h"

#include <algorithm>

#include "host/tool/link/result_codes.h"

namespace tool {

namespace {

std::optional<plant::Value> valueOf(const Access& access) {
  plant::Value value;
  if (access.code == kDone && plant::fromWords(access.point, access.words, value)) return value;
  return std::nullopt;
}

std::size_t failuresIn(const std::vector<Result>& results) {
  return static_cast<std::size_t>(
      std::count_if(results.begin(), results.end(), [](const Result& result) { return !result.isGood; }));
}

}  // namespace

Result readResult(const Access& access) {
  const auto value = valueOf(access);
  return {access, value, value.has_value()};
}

Result writeResult(const Access& access) {
  return {access, valueOf(access), access.code == kDone};
}

std::vector<Result> resultsOf(const std::vector<Access>& accesses, Result (*resultOf)(const Access&)) {
  std::vector<Result> results;
  results.reserve(accesses.size());
  for (const Access& access : accesses) results.push_back(resultOf(access));
  return results;
}

bool areGood(const std::vector<Result>& results) {
  return failuresIn(results) == 0;
}

void Tally::add(const std::vector<Result>& results) {
  reads += results.size();
  failures += failuresIn(results);
}

}  // namespace tool
