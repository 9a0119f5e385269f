#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

#include "io/clock.h"

namespace binding {

/// The few choices of a link's helper.json; what is not in the file keeps its default. See docs/bacnet.md.
struct HelperOptions {
  bool isBatchStrict = false;   ///< "batch": "strict"; the first failed point's code answers for all
  std::uint8_t priority = 8;    ///< "priority": of a plain write to a commandable object, 1 to 16 but not 6
  bool isFaultRefused = false;  ///< "faultCode": a present value whose fault flag is set answers its code
  bool hasOwnPort = false;  ///< "ownPort": a port that nobody shares, for NAT and devices that answer from elsewhere
  std::optional<std::uint32_t> broadcast;  ///< "broadcast": where Who-Is goes to, instead of every interface's
  io::Duration readAhead = std::chrono::seconds(1);  ///< "readAheadMs": how old a value read in advance may be; 0: none

  friend bool operator==(const HelperOptions& a, const HelperOptions& b) {
    const auto fields = [](const HelperOptions& each) {
      return std::tie(each.isBatchStrict, each.priority, each.isFaultRefused, each.hasOwnPort, each.broadcast,
                      each.readAhead);
    };
    return fields(a) == fields(b);
  }
};

/// Reads the helper.json in `directory`; a missing file leaves the defaults.
/// Result: false with a one-line `error` that names the file and the key; `options` is then untouched.
bool readHelperOptions(const std::string& directory, HelperOptions& options, std::string& error);

/// The same for the text of such a file; `error` without the file's name.
bool parseHelperOptions(const std::string& text, HelperOptions& options, std::string& error);

}  // namespace binding
