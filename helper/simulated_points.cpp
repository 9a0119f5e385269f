#include "helper/simulated_points.h"

#include <fmt/format.h>

#include <utility>

#include "helper/simulated_value.h"

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

CSimulatedPoints::CSimulatedPoints() : start_(std::chrono::steady_clock::now()) {}

ResultCode CSimulatedPoints::loadProject(const std::string& path, std::int32_t link, std::string& note) {
  plant::Link project;
  if (plant::readProject(path, link, project, note) != 0) return ResultCode::kProjectRefused;

  Points points;
  for (plant::Point& point : project.points) {
    const auto regId = static_cast<std::uint32_t>(point.regId);
    const auto known = points_.find(regId);
    std::optional<plant::Value> written;
    const bool isSame =
        known != points_.end() && known->second.point.type == point.type && known->second.point.size == point.size;
    if (isSame) written = known->second.written;
    points[regId] = {std::move(point), std::move(written)};
  }
  points_.swap(points);
  isLoaded_ = true;
  return ResultCode::kDone;
}

ResultCode CSimulatedPoints::connect(std::string& /*note*/) {
  isConnected_ = isLoaded_;
  return checkConnected();
}

ResultCode CSimulatedPoints::checkConnected() const {
  if (!isLoaded_) return ResultCode::kNoProject;
  return isConnected_ ? ResultCode::kDone : ResultCode::kNotConnected;
}

ResultCode CSimulatedPoints::find(const PointAccess& access, SimulatedPoint*& found, std::string& note) {
  const auto at = points_.find(access.regId);
  if (at == points_.end()) {
    note = fmt::format("RegId {} is unknown", access.regId);
    return ResultCode::kUnknownPoint;
  }
  found = &at->second;
  if (isSizeOf(found->point, access.size)) return ResultCode::kDone;
  note = fmt::format("RegId {} does not have {} bytes", access.regId, access.size);
  return ResultCode::kWrongSize;
}

ResultCode CSimulatedPoints::read(const std::vector<PointAccess>& points, std::vector<plant::Words>& values,
                                  std::string& note) {
  if (const ResultCode code = checkConnected(); code != ResultCode::kDone) return code;

  const std::chrono::duration<double> age = std::chrono::steady_clock::now() - start_;
  std::vector<plant::Words> all;
  for (const PointAccess& access : points) {
    SimulatedPoint* found = nullptr;
    if (const ResultCode code = find(access, found, note); code != ResultCode::kDone) return code;
    const plant::Value value = found->written.value_or(simulatedValue(found->point, age.count()));
    all.push_back(plant::toWords(found->point, value, access.size));
  }
  values.swap(all);
  return ResultCode::kDone;
}

ResultCode CSimulatedPoints::write(const std::vector<PointAccess>& points, std::string& note) {
  if (const ResultCode code = checkConnected(); code != ResultCode::kDone) return code;

  std::vector<std::pair<SimulatedPoint*, plant::Value>> writes;
  for (const PointAccess& access : points) {
    SimulatedPoint* found = nullptr;
    if (const ResultCode code = find(access, found, note); code != ResultCode::kDone) return code;
    plant::Value value;
    if (!isWordCountOf(found->point, access.size, access.words.size()) ||
        !plant::fromWords(found->point, access.words, value)) {
      note = fmt::format("RegId {} ({}) cannot take this value of {} words", access.regId, found->point.dataTypeWord,
                         access.words.size());
      return ResultCode::kValueRefused;
    }
    writes.emplace_back(found, std::move(value));
  }
  for (auto& [point, value] : writes) point->written = std::move(value);
  return ResultCode::kDone;
}

}  // namespace helper
