#include "cbl/process/close_descriptors.h"

#include <unistd.h>

#include <limits>

namespace cbl {

namespace {

constexpr unsigned kFirst = 3;

void closeRange(unsigned first, unsigned last, std::int32_t highest) {
  if (first > last || close_range(first, last, 0) == 0) return;
  for (std::int32_t number = highest; number >= static_cast<std::int32_t>(first); --number) {
    if (static_cast<unsigned>(number) <= last) close(number);
  }
}

}  // namespace

void closeDescriptorsFrom3(std::int32_t keepOne, std::int32_t keepOther, std::int32_t highest) {
  const auto lower = static_cast<unsigned>(keepOne < keepOther ? keepOne : keepOther);
  const auto upper = static_cast<unsigned>(keepOne < keepOther ? keepOther : keepOne);
  if (lower > kFirst) closeRange(kFirst, lower - 1, highest);
  closeRange(lower < kFirst ? kFirst : lower + 1, upper < kFirst ? kFirst - 1 : upper - 1, highest);
  closeRange(upper < kFirst ? kFirst : upper + 1, std::numeric_limits<unsigned>::max(), highest);
}

void closeDescriptorsFrom3(std::int32_t highest) {
  closeRange(kFirst, std::numeric_limits<unsigned>::max(), highest);
}

std::int32_t highestDescriptor() {
  const long limit = sysconf(_SC_OPEN_MAX);
  constexpr long kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(limit > 0 && limit < kMost ? limit : kMost);
}

}  // namespace cbl
