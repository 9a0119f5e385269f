#include "host/tool/link/project.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "host/tool/failure.h"
#include "host/tool/link/helper_files.h"

namespace tool {

namespace {

bool isRegId(const plant::Point& point, const std::string& text) {
  std::int32_t regId = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, failure] = std::from_chars(text.data(), end, regId);
  return failure == std::errc() && stop == end && point.regId == regId;
}

}  // namespace

std::string projectFile(const Options& options) {
  return options.project + kProjectFile;
}

plant::Link readLink(const Options& options) {
  plant::Link link;
  std::string error;
  if (plant::readProject(projectFile(options), options.link, link, error) == 0) return link;
  throw CFailure(ExitStatus::kProject, error, "name the project's directory with --project, or mend the file");
}

void requirePresent(const plant::Link& link) {
  if (link.present) return;
  throw CFailure(ExitStatus::kProject, fmt::format("the project file has no link {}", link.linkId),
                 "name one of its links (attribute LinkID) with --link");
}

plant::Link readPresentLink(const Options& options) {
  plant::Link link = readLink(options);
  requirePresent(link);
  return link;
}

const plant::Point& findPoint(const plant::Link& link, const std::string& text) {
  const auto& points = link.points;
  const auto byRegId =
      std::find_if(points.begin(), points.end(), [&](const auto& each) { return isRegId(each, text); });
  if (byRegId != points.end()) return *byRegId;

  std::vector<std::int32_t> regIds;
  const plant::Point* found = nullptr;
  for (const plant::Point& point : points) {
    if (point.fullName() != text) continue;
    found = &point;
    regIds.push_back(point.regId);
  }
  if (regIds.empty())
    throw CFailure(ExitStatus::kUsage, fmt::format("link {} has no point '{}'", link.linkId, text),
                   "'hmi-host points' lists them");
  if (regIds.size() > 1)
    throw CFailure(ExitStatus::kUsage, fmt::format("{} points are named '{}'", regIds.size(), text),
                   fmt::format("name one by its RegId: {}", fmt::join(regIds, ", ")));
  return *found;
}

std::vector<plant::Point> findPoints(const plant::Link& link, const std::vector<std::string>& texts) {
  std::vector<plant::Point> found;
  for (const std::string& text : texts) {
    const plant::Point& point = findPoint(link, text);
    const bool isNew =
        std::none_of(found.begin(), found.end(), [&](const auto& each) { return each.regId == point.regId; });
    if (isNew) found.push_back(point);
  }
  return found;
}

std::int32_t registerBytes(const plant::Point& point, const Options& options) {
  return point.type == plant::DataType::kString ? options.stringBytes : point.size;
}

}  // namespace tool
