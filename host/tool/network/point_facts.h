#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "io/clock.h"
#include "plant/project.h"
#include "plant/value.h"

namespace tool {

/// What people call a point's object and what its value is, in words.
struct PointFacts {
  bool isFromDevice = false;  ///< otherwise there is only what the standard says of the property
  std::string objectName;     ///< the device's own
  std::string description;
  std::string unit;                            ///< of the point's value, as people write it: °C
  std::map<std::uint32_t, std::string> texts;  ///< of the numbers that the value can be; of a BOOL, of 0 and 1
  bool areBits = false;                        ///< the value is a bit string, and the texts are those of its bits
  bool isCommandable = false;                  ///< its object has a priority array
};

/// What the standard alone says: the names of reliabilities, event states, flags and so on.
PointFacts standardFacts(const plant::Point& point);

/// How long the device may be asked, beside Ctrl-C.
struct FactsLimit {
  io::Duration time = std::chrono::seconds(30);
  std::function<bool()> isStopped;  ///< looked at ten times a second; may be empty
};

/// Reads the facts of `points` from the device of `link`, in batches where it takes them, from a UDP port of its own.
/// Writes nothing. Blocks for 3 s where the device does not answer, and for `limit` at most. May be called on any
/// thread, and on several at a time. `networkInterface` as in StationOptions.
/// Result: one a point, in order. Where the device did not tell, standardFacts, and `problem` says why; a device that
/// does not have a point's object is no problem.
std::vector<PointFacts> readPointFacts(const plant::Link& link, const std::vector<plant::Point>& points,
                                       const std::string& networkInterface, const FactsLimit& limit,
                                       std::string& problem);

/// The value in words, where its number or its bits have some: "Low", "in-alarm, fault", "none" of no bit. Otherwise
/// empty.
std::string wordsOf(const PointFacts& facts, const plant::Value& value);
/// What people read: these words, otherwise `number`, which is the value's text, with its unit.
std::string readable(const PointFacts& facts, const plant::Value& value, const std::string& number);

}  // namespace tool
