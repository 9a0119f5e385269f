#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/tool/console/records.h"
#include "host/tool/link/results.h"
#include "host/tool/network/point_facts.h"
#include "host/tool/page/history.h"
#include "plant/project.h"

namespace tool {

/// Milliseconds since 1970, UTC.
std::int64_t nowMs();

enum class Quality {
  kGood,    ///< answered in the last round; Null is an answer, too
  kOld,     ///< nobody answered: the value is the last one seen, or none at all
  kFailed,  ///< answered with a failure, or with words that are no value of the point's type
};

/// What a point is known to be.
struct PointState {
  Record value;      ///< null where there is none
  std::string text;  ///< the value as tables show it
  std::int32_t code = 0;
  std::string words;  ///< of a code other than 0
  Quality quality = Quality::kOld;
  std::optional<std::int64_t> time;  ///< when the value was last seen
};

/// A failure that a point began to have.
struct PointError {
  std::int64_t time = 0;
  std::int32_t code = 0;
  std::string words;
};

struct LinkState {
  enum Kind { kConnecting, kConnected, kLost };
  Kind kind = kConnecting;
  std::int32_t code = 0;  ///< of one that is lost
  std::string words;
  std::optional<std::int64_t> lastAnswer;
};

/// What is known of one link and its points. Written by the link's poller, read by any thread; no lock is held for
/// longer than a copy takes.
class CBoard {
 public:
  /// `firstId` is the page's number of the link's first point, the others follow.
  CBoard(plant::Link link, std::size_t firstId, std::size_t samplesPerPoint);

  const plant::Link& link() const { return link_; }
  std::size_t size() const { return link_.points.size(); }
  std::size_t firstId() const { return firstId_; }

  /// What came of reading the points from place `first` on. Result: the places of those that differ from before; what
  /// is only read again does not.
  std::vector<std::size_t> take(const std::vector<Result>& results, std::size_t first, std::int64_t time);
  /// What the device says of the points, one each: texts are in words from the next round on.
  void setFacts(std::vector<PointFacts> facts);
  /// Result: whether it differs from before; the time of the last answer does not count.
  bool setState(LinkState::Kind kind, std::int32_t code, const std::string& words);

  PointState state(std::size_t place) const;
  std::vector<PointState> states() const;
  std::vector<PointFacts> facts() const;
  std::vector<std::vector<Sample>> trends() const;
  std::vector<Sample> history(std::size_t place) const;
  /// The newest first.
  std::vector<PointError> errors(std::size_t place) const;
  LinkState linkState() const;

 private:
  struct Entry {
    PointState state;
    std::vector<short> words;  // of the value
    CHistory history;
    std::deque<PointError> errors;
  };

  bool takeOne(Entry& entry, const PointFacts& facts, const Result& result, std::int64_t time);

  const plant::Link link_;
  const std::size_t firstId_;
  mutable std::mutex mutex_;
  std::vector<Entry> entries_;
  std::vector<PointFacts> facts_;
  LinkState linkState_;
};

}  // namespace tool
