#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>

#include "helper/point_back_end.h"

namespace helper {

/// Points without a network: what is written is read back and stays, also over a reload of the project; what nobody
/// has written moves by itself (`simulatedValue`).
class CSimulatedPoints : public CPointBackEnd {
 public:
  CSimulatedPoints();

  ResultCode loadProject(const std::string& path, std::int32_t link, std::string& note) override;
  ResultCode connect(std::string& note) override;
  ResultCode read(const std::vector<PointAccess>& points, std::vector<plant::Words>& values,
                  std::string& note) override;
  ResultCode write(const std::vector<PointAccess>& points, std::string& note) override;

 private:
  struct SimulatedPoint {
    plant::Point point;
    std::optional<plant::Value> written;
  };
  using Points = std::map<std::uint32_t, SimulatedPoint>;

  ResultCode checkConnected() const;
  ResultCode find(const PointAccess& access, SimulatedPoint*& found, std::string& note);

  std::chrono::steady_clock::time_point start_;
  Points points_;  // by RegId
  bool isLoaded_ = false;
  bool isConnected_ = false;
};

}  // namespace helper
