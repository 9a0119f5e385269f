#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "bacnet/codec/tag.h"
#include "binding/helper_options.h"
#include "binding/point_plan.h"
#include "helper/result_codes.h"
#include "helper/source/read_ahead.h"
#include "plant/project.h"

namespace helper {

/// A point with what it means to the device, and what has been learnt of it.
struct BoundPoint {
  binding::PointPlan plan;
  std::optional<bacnet::ApplicationType> lastRead;  ///< the type that the device has answered
  ResultCode readCode = ResultCode::kDone;          ///< of the last access, for the log
  ResultCode writeCode = ResultCode::kDone;
};

/// A link with its points bound. Accesses under way hold on to it while another one is loaded.
class CBoundProject {
 public:
  CBoundProject(std::shared_ptr<const plant::Link> link, const binding::HelperOptions& options);

  const plant::Link& link() const { return *link_; }
  /// `point` is one of the link's own.
  BoundPoint& of(const plant::Point& point) { return points_[numberOf(point)]; }
  std::size_t numberOf(const plant::Point& point) const {
    return static_cast<std::size_t>(&point - link_->points.data());
  }
  CReadAhead& readAhead() { return readAhead_; }
  /// The objects whose present value some point reads.
  std::set<bacnet::ObjectId> valueObjects() const;
  /// RegId and name of the points whose writes release a priority.
  std::vector<std::string> releases() const;

 private:
  std::shared_ptr<const plant::Link> link_;
  std::vector<BoundPoint> points_;
  CReadAhead readAhead_;
};

/// `RegId 4 (SupplyAir.Temp, analog-input 3 present-value)`
std::string nameOf(const plant::Point& point);

}  // namespace helper
