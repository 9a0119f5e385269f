#include "simulator/simulated_value.h"

#include <array>
#include <cmath>

namespace simulator {

namespace {

constexpr double kWaveSeconds = 120;
constexpr double kToggleSeconds = 10;
constexpr double kTextSeconds = 5;
constexpr std::array<const char*, 4> kTexts = {"Cooling", "Heating", "Ventilation", "Standby"};
constexpr std::uint32_t kNoUnits = 95;  // BACnet's number for a value without units

bool standsStill(const plant::Point& point) {
  return point.propId == 72 || point.propId == 87 || point.propId == 117;
}

// Points differ by their number: in phase, and in the level that they move about.
double wave(const plant::Point& point, double seconds) {
  constexpr double kFullTurn = 6.283185307179586;
  const double phase = seconds / kWaveSeconds + 0.1 * (point.regId % 10);
  return 20.0 + point.regId % 7 + 3.0 * std::sin(kFullTurn * phase);
}

std::uint32_t ticks(const plant::Point& point, double seconds, double period) {
  return static_cast<std::uint32_t>(point.regId) + static_cast<std::uint32_t>(seconds / period);
}

}  // namespace

plant::Value simulatedValue(const plant::Point& point, double seconds) {
  const double time = standsStill(point) ? 0 : seconds;
  switch (point.type) {
    case plant::DataType::kBool:
      return ticks(point, time, kToggleSeconds) % 2 == 1;
    case plant::DataType::kUdint:
    case plant::DataType::kUint:
      return ticks(point, time, 1);
    case plant::DataType::kReal:
      return static_cast<float>(wave(point, time));
    case plant::DataType::kDouble:
      return wave(point, time);
    case plant::DataType::kString:
      return std::string(kTexts[ticks(point, time, kTextSeconds) % kTexts.size()]);
    case plant::DataType::kEnumerated:
      return point.propId == 117 ? kNoUnits : std::uint32_t{0};
    case plant::DataType::kRaw:
      break;
  }
  return std::uint32_t{0};
}

}  // namespace simulator
