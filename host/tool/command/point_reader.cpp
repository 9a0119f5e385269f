#include "host/tool/command/point_reader.h"

#include "host/tool/link/project.h"

namespace tool {

std::vector<Access> prepareReads(CSession& session, const std::vector<plant::Point>& points) {
  std::vector<Access> accesses;
  accesses.reserve(points.size());
  for (const plant::Point& point : points) accesses.push_back({session.prepare(point), {}, 0});
  return accesses;
}

CPointReader::CPointReader(const Options& options, const PointChoice& choice)
    : points_(choice.pointsOf(readPresentLink(options))),
      session_(openSession(options)),
      accesses_(prepareReads(*session_, points_)),
      batcher_(*session_, statistics_) {}

}  // namespace tool
