#include "helper/source/bound_project.h"

#include <fmt/format.h>

#include <utility>

#include "bacnet/number/names.h"

namespace helper {

namespace {

std::string nameOrNumber(const bacnet::CNameTable& names, std::int32_t number) {
  const std::string_view name = names.name(static_cast<std::uint32_t>(number));
  return name.empty() ? std::to_string(number) : std::string(name);
}

}  // namespace

// A value whose fault flag has to be looked at, too, is not read in advance.
CBoundProject::CBoundProject(std::shared_ptr<const plant::Link> link, const binding::HelperOptions& options)
    : link_(std::move(link)),
      readAhead_(link_->points.size(), options.isFaultRefused ? io::Duration::zero() : options.readAhead) {
  points_.reserve(link_->points.size());
  for (const plant::Point& point : link_->points)
    points_.push_back({binding::planPoint(point, options.priority), {}, {}, {}});
}

std::set<bacnet::ObjectId> CBoundProject::valueObjects() const {
  std::set<bacnet::ObjectId> objects;
  for (const BoundPoint& each : points_) {
    if (each.plan.isPresentValue && each.plan.refused == ResultCode::kDone) objects.insert(each.plan.read.object);
  }
  return objects;
}

std::vector<std::string> CBoundProject::releases() const {
  std::vector<std::string> names;
  for (const plant::Point& each : link_->points) {
    if (each.priorityReset) names.push_back(nameOf(each));
  }
  return names;
}

std::string nameOf(const plant::Point& point) {
  return fmt::format("RegId {} ({}, {} {} {})", point.regId, point.fullName(),
                     nameOrNumber(bacnet::kObjectTypeNames, point.objectType), point.instance,
                     nameOrNumber(bacnet::kPropertyNames, point.propId));
}

}  // namespace helper
