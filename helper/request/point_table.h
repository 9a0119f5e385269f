#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "helper/request/remote_functions.h"
#include "helper/source/point_source.h"

namespace helper {

/// The points of a loaded link as requests name them: RegId and size to point, words to value and back. Checks each
/// access completely before the next: a code is that of the first point with a fault, and `note` names it.
class CPointTable {
 public:
  CPointTable() = default;
  explicit CPointTable(std::shared_ptr<const plant::Link> link);

  /// The table's points belong to it; none before a project has been loaded.
  const std::shared_ptr<const plant::Link>& link() const { return link_; }

  /// Result: kDone, kUnknownPoint, kWrongSize; of a write kValueRefused, too.
  ResultCode resolve(const std::vector<PointAccess>& accesses, std::vector<PointRead>& reads, std::string& note) const;
  ResultCode resolve(const std::vector<PointAccess>& accesses, std::vector<PointWrite>& writes,
                     std::string& note) const;

 private:
  ResultCode find(const PointAccess& access, const plant::Point*& point, std::string& note) const;

  std::shared_ptr<const plant::Link> link_;
  std::unordered_map<std::uint32_t, const plant::Point*> points_;  // by RegId
};

/// A value's words as a reply carries them, joined by commas; `words` is room that serves one value after another.
std::string wordsText(const PointRead& read, const plant::Value& value, plant::Words& words);

}  // namespace helper
