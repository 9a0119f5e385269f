#pragma once

#include <cstdint>

namespace cbl {

/// Closes every descriptor from 3 up except the two to keep, whatever the process's descriptor limit is. For use
/// between fork and exec: async-signal-safe. `highest` is the highest number to try where the kernel can neither close
/// a range at once nor list what is open; ask `highestDescriptor` before the fork.
void closeDescriptorsFrom3(std::int32_t keepOne, std::int32_t keepOther, std::int32_t highest);
void closeDescriptorsFrom3(std::int32_t highest);

std::int32_t highestDescriptor();

}  // namespace cbl
