#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace reliability {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// What the points of one device may read, and since when not any more. Every value names its link and point, and
/// either the second of the device's life that it is from (as bacnet-device moves a counter from its RegId on) or the
/// number of the write that it came from.
class CTruth {
 public:
  /// How long after it was true a value may still be answered; `keepsOrder`: what is written arrives in that order, so
  /// that after an acknowledged write nothing older may be read at all.
  CTruth(int link, milliseconds oldest, bool keepsOrder) : link_(link), oldest_(oldest), keepsOrder_(keepsOrder) {}

  static std::int32_t regId(int link, int point) { return link << 25 | point << 18; }

  /// A life of the device begins between these two calls.
  void beginLife();
  void lives();
  /// The value of the next write of a point, of which there is one a device.
  std::uint32_t beginWrite(int point);
  void endWrite(bool isAcknowledged);

  struct Verdict {
    std::string wrong;  ///< empty: right
    milliseconds age{0};
  };
  Verdict judge(int point, std::uint32_t value, Clock::time_point asked, Clock::time_point answered) const;

 private:
  struct Life {
    Clock::time_point earliest;
    Clock::time_point latest;
  };
  struct Write {
    Clock::time_point ended = Clock::time_point::max();
    bool isAcknowledged = false;
  };

  Verdict judgeMoved(std::uint32_t second, Clock::time_point asked, Clock::time_point answered) const;
  Verdict judgeWritten(std::size_t number, Clock::time_point asked) const;
  std::optional<Clock::time_point> overwritten(std::size_t number) const;
  std::optional<Clock::time_point> forgotten(const Write& write) const;

  const int link_;
  const milliseconds oldest_;
  const bool keepsOrder_;
  mutable std::mutex mutex_;
  std::vector<Life> lives_;
  std::vector<Write> writes_;
};

}  // namespace reliability
