#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "bacnet/codec/value.h"
#include "io/clock.h"

namespace helper {

/// Learns in which order points are asked for, and keeps what was read in advance of that. The driver asks for at most
/// eleven points at a time: behind a slow line each of these calls would cost a round trip, although the device's
/// answer has room for many more points. Points are numbers from 0; knows neither device nor requests.
class CReadAhead {
 public:
  /// `longestAge` is how old a value may be when it is handed out; 0 learns and keeps nothing.
  CReadAhead(std::size_t points, io::Duration longestAge) : next_(points), held_(points), longestAge_(longestAge) {}

  /// This one is asked for, after those before.
  void learn(std::size_t asked);

  /// The points that will most likely be asked for after `last`, at most `most`, without those that are held already
  /// and still good. An order counts when it has been seen twice in a row.
  std::vector<std::size_t> expected(std::size_t last, std::size_t most, io::TimePoint now) const;

  /// `season` is that of the time when the value was asked for; another one has begun since then if a write came
  /// between.
  void hold(std::size_t point, bacnet::Values values, io::TimePoint now, unsigned season);
  /// The value held, once; nothing where there is none, or it is too old.
  std::optional<bacnet::Values> take(std::size_t point, io::TimePoint now);
  /// Nothing that has been read, or asked for, before now counts: something is written.
  void dropAll();
  unsigned season() const { return season_; }

 private:
  struct Next {
    std::optional<std::size_t> point;
    bool isConfirmed = false;
  };
  struct Held {
    bacnet::Values values;
    io::TimePoint since;
  };

  bool isGood(const std::optional<Held>& held, io::TimePoint now) const {
    return held && now - held->since <= longestAge_;
  }

  std::vector<Next> next_;
  std::vector<std::optional<Held>> held_;
  io::Duration longestAge_;
  std::optional<std::size_t> last_;  // that was asked for
  unsigned season_ = 0;
};

}  // namespace helper
