#include "host/tool/link/project.h"

#include <fmt/format.h>
#include <fnmatch.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <set>

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

// The square brackets of a pattern are those of an index, never a set of characters.
std::string withoutSets(const std::string& pattern) {
  std::string glob;
  for (const char character : pattern) glob += character == '[' ? std::string("\\[") : std::string(1, character);
  return glob;
}

template <typename Condition>
std::vector<plant::Point> pointsThat(const plant::Link& link, Condition condition) {
  std::vector<plant::Point> points;
  std::copy_if(link.points.begin(), link.points.end(), std::back_inserter(points), condition);
  return points;
}

void requireOne(const std::vector<plant::Point>& named, const std::string& text) {
  if (named.size() == 1) return;
  std::vector<std::int32_t> regIds;
  regIds.reserve(named.size());
  for (const plant::Point& point : named) regIds.push_back(point.regId);
  throw CFailure(ExitStatus::kUsage, fmt::format("{} points are named '{}'", named.size(), text),
                 fmt::format("name one by its RegId: {}", fmt::join(regIds, ", ")));
}

// The points that one text of the user's stands for.
std::vector<plant::Point> meant(const plant::Link& link, const std::string& text) {
  auto points = pointsThat(link, [&](const plant::Point& point) { return isRegId(point, text); });
  if (!points.empty()) return points;
  points = pointsThat(link, [&](const plant::Point& point) { return point.fullName() == text; });
  if (!points.empty()) return requireOne(points, text), points;
  if (text.find_first_of("*?") != std::string::npos)
    points = pointsThat(link, [&](const plant::Point& point) { return matches(text, point); });
  if (!points.empty()) return points;
  throw CFailure(ExitStatus::kUsage, fmt::format("link {} has no point '{}'", link.linkId, text),
                 "'hmi-host points' lists them");
}

void requireRead(std::int32_t result, const std::string& error) {
  if (result != 0)
    throw CFailure(ExitStatus::kProject, error, "name the project's directory with --project, or mend the file");
}

}  // namespace

std::string projectFile(const Options& options) {
  return options.project + kProjectFile;
}

plant::Link readLink(const Options& options) {
  plant::Link link;
  std::string error;
  requireRead(plant::readProject(projectFile(options), options.link, link, error), error);
  return link;
}

std::vector<plant::Link> readLinks(const Options& options) {
  std::vector<plant::Link> links;
  std::string error;
  requireRead(plant::readLinks(projectFile(options), links, error), error);
  return links;
}

void requirePresent(const plant::Link& link, const Options& options) {
  if (link.present) return;
  std::vector<std::int32_t> numbers;
  for (const plant::Link& each : readLinks(options)) numbers.push_back(each.linkId);
  throw CFailure(ExitStatus::kProject, fmt::format("the project file has no link {}", link.linkId),
                 numbers.empty() ? "it has none at all: add \"BACnet\" and \"Symbols\" elements with a LinkID"
                                 : fmt::format("name one of its links with --link: {}", fmt::join(numbers, ", ")));
}

plant::Link readPresentLink(const Options& options) {
  plant::Link link = readLink(options);
  requirePresent(link, options);
  return link;
}

bool matches(const std::string& pattern, const plant::Point& point) {
  const std::string glob = withoutSets(pattern);
  const auto fits = [&](const std::string& text) { return fnmatch(glob.c_str(), text.c_str(), FNM_CASEFOLD) == 0; };
  return fits(point.fullName()) || fits(std::to_string(point.regId));
}

std::vector<plant::Point> findPoints(const plant::Link& link, const std::vector<std::string>& texts) {
  std::vector<plant::Point> found;
  std::set<std::int32_t> regIds;
  for (const std::string& text : texts) {
    for (const plant::Point& point : meant(link, text)) {
      if (regIds.insert(point.regId).second) found.push_back(point);
    }
  }
  return found;
}

std::int32_t registerBytes(const plant::Point& point, const Options& options) {
  return point.type == plant::DataType::kString ? options.stringBytes : point.size;
}

}  // namespace tool
