#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "helper/source/point_source.h"
#include "io/timers.h"

namespace simulator {

/// Points without a network: what is written is read back and stays, also over a reload of the project that keeps the
/// point's type and size; what nobody has written moves by itself (`simulatedValue`). Answers at once.
class CSimulatedPoints : public helper::CPointSource {
 public:
  /// `timers` tell the time that values move by, and outlive the points.
  explicit CSimulatedPoints(const io::CTimers& timers);

  helper::Outcome load(const std::shared_ptr<const plant::Link>& link, const std::string& directory) override;
  void connect(io::TimePoint deadline, helper::Done<helper::Outcome> done) override;
  void read(std::vector<helper::PointRead> points, io::TimePoint deadline,
            helper::Done<std::vector<helper::Reading>> done) override;
  void write(std::vector<helper::PointWrite> points, io::TimePoint deadline,
             helper::Done<std::vector<helper::Outcome>> done) override;

 private:
  struct Written {
    plant::DataType type;
    std::int32_t size;
    plant::Value value;
  };

  const io::CTimers& timers_;
  io::TimePoint start_;
  std::map<std::int32_t, Written> written_;  // by RegId
};

}  // namespace simulator
