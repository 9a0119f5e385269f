#pragma once

#include <string>

namespace bench {

// The two exchanges that are measured: one REAL, and a batch of the driver's largest size.
inline constexpr int kBatchSize = 11;
inline constexpr const char* kRealWords = "16840,0";  // 12.5 as a reply carries it

/// The frame that the driver sends to read the points 1 to `count`: the single call for 1, the batch call otherwise.
std::string readRequestFrame(int count);
/// The frame that answers it: code 0 and `kRealWords` for each point.
std::string readReplyFrame(int count);
/// The frame that answers any other call: code 0.
std::string doneReplyFrame();

}  // namespace bench
