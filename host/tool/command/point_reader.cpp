#include "host/tool/command/point_reader.h"

#include "host/tool/link/project.h"

namespace tool {

std::vector<Access> prepareReads(CSession& session, const std::vector<plant::Point>& points) {
  std::vector<Access> accesses;
  accesses.reserve(points.size());
  for (const plant::Point& point : points) accesses.push_back({point, session.prepare(point), {}});
  return accesses;
}

std::vector<plant::Point> CPointReader::points() const {
  std::vector<plant::Point> points;
  points.reserve(accesses_.size());
  for (const Access& access : accesses_) points.push_back(access.point);
  return points;
}

CPointReader::CPointReader(const Options& options, const PointChoice& choice)
    : CPointReader(options, choice.pointsOf(readPresentLink(options))) {}

CPointReader::CPointReader(const Options& options, const std::vector<plant::Point>& points)
    : session_(openSession(options)), accesses_(prepareReads(*session_, points)), batcher_(*session_, statistics_) {}

}  // namespace tool
