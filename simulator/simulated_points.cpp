#include "simulator/simulated_points.h"

#include <chrono>
#include <utility>

#include "simulator/simulated_value.h"

namespace simulator {

using helper::Done;
using helper::Outcome;
using helper::PointRead;
using helper::PointWrite;
using helper::Reading;

CSimulatedPoints::CSimulatedPoints(const io::CTimers& timers) : timers_(timers), start_(timers.now()) {}

Outcome CSimulatedPoints::load(const std::shared_ptr<const plant::Link>& link, const std::string& /*directory*/) {
  std::map<std::int32_t, Written> kept;
  for (const plant::Point& point : link->points) {
    const auto known = written_.find(point.regId);
    if (known == written_.end() || known->second.type != point.type || known->second.size != point.size) continue;
    kept.insert(written_.extract(known));
  }
  written_.swap(kept);
  return {};
}

void CSimulatedPoints::connect(io::TimePoint /*deadline*/, Done<Outcome> done) {
  done({});
}

void CSimulatedPoints::read(std::vector<PointRead> points, io::TimePoint /*deadline*/,
                            Done<std::vector<Reading>> done) {
  const std::chrono::duration<double> age = timers_.now() - start_;
  std::vector<Reading> readings(points.size());
  for (std::size_t i = 0; i < points.size(); ++i) {
    const auto written = written_.find(points[i].point->regId);
    readings[i].value =
        written == written_.end() ? simulatedValue(*points[i].point, age.count()) : written->second.value;
  }
  done(std::move(readings));
}

void CSimulatedPoints::write(std::vector<PointWrite> points, io::TimePoint /*deadline*/,
                             Done<std::vector<Outcome>> done) {
  for (PointWrite& each : points) {
    const plant::Point& point = *each.point;
    written_[point.regId] = {point.type, point.size, std::move(each.value)};
  }
  done(std::vector<Outcome>(points.size()));
}

}  // namespace simulator
