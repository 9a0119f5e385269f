#include "helper/request/point_table.h"

#include <fmt/format.h>

#include <charconv>
#include <utility>

namespace helper {

namespace {

constexpr std::int32_t kLongestText = 512;  // bytes

// A text may be asked for in any length that a register can have, everything else in its own size only.
bool isSizeOf(const plant::Point& point, std::int32_t size) {
  if (point.type != plant::DataType::kString) return size == point.size;
  return size >= 2 && size <= kLongestText && size % 2 == 0;
}

// Fewer words than its size are enough for a text only.
bool isWordCountOf(const plant::Point& point, std::int32_t size, std::size_t words) {
  if (point.type != plant::DataType::kString) return words == plant::wordsFor(size);
  return words >= 1 && words <= plant::wordsFor(size);
}

}  // namespace

CPointTable::CPointTable(std::shared_ptr<const plant::Link> link) : link_(std::move(link)) {
  points_.reserve(link_->points.size());
  for (const plant::Point& point : link_->points) points_.emplace(static_cast<std::uint32_t>(point.regId), &point);
}

ResultCode CPointTable::find(const PointAccess& access, const plant::Point*& point, std::string& note) const {
  const auto at = points_.find(access.regId);
  if (at == points_.end()) {
    note = fmt::format("RegId {} is unknown", access.regId);
    return ResultCode::kUnknownPoint;
  }
  point = at->second;
  if (isSizeOf(*point, access.size)) return ResultCode::kDone;
  note = fmt::format("RegId {} does not have {} bytes", access.regId, access.size);
  return ResultCode::kWrongSize;
}

ResultCode CPointTable::resolve(const std::vector<PointAccess>& accesses, std::vector<PointRead>& reads,
                                std::string& note) const {
  reads.reserve(accesses.size());
  for (const PointAccess& access : accesses) {
    const plant::Point* point = nullptr;
    if (const ResultCode code = find(access, point, note); code != ResultCode::kDone) return code;
    reads.push_back({point, access.size});
  }
  return ResultCode::kDone;
}

ResultCode CPointTable::resolve(const std::vector<PointAccess>& accesses, std::vector<PointWrite>& writes,
                                std::string& note) const {
  writes.reserve(accesses.size());
  for (const PointAccess& access : accesses) {
    const plant::Point* point = nullptr;
    if (const ResultCode code = find(access, point, note); code != ResultCode::kDone) return code;
    plant::Value value;
    if (!isWordCountOf(*point, access.size, access.words.size()) || !plant::fromWords(*point, access.words, value)) {
      note = fmt::format("RegId {} ({}) cannot take this value of {} words", access.regId, point->dataTypeWord,
                         access.words.size());
      return ResultCode::kValueRefused;
    }
    writes.push_back({point, std::move(value), access.size});
  }
  return ResultCode::kDone;
}

std::string wordsText(const PointRead& read, const plant::Value& value, plant::Words& words) {
  constexpr std::size_t kRoom = 7;  // sign, digits and comma of a word
  plant::toWords(*read.point, value, read.size, words);
  std::string text(kRoom * words.size(), '\0');
  char* at = text.data();
  for (const short word : words) {
    if (at != text.data()) *at++ = ',';
    at = std::to_chars(at, at + kRoom - 1, word).ptr;
  }
  text.resize(static_cast<std::size_t>(at - text.data()));
  return text;
}

}  // namespace helper
