#include "device/movement.h"

#include <array>
#include <cmath>
#include <optional>
#include <utility>

#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"

namespace device {

namespace {

namespace property = bacnet::property;
using bacnet::Datatype;
using bacnet::server::Shape;

constexpr double kWaveSeconds = 120;
constexpr double kToggleSeconds = 10;
constexpr double kTextSeconds = 5;
constexpr bacnet::PropertyId kFirstProprietary = 512;
constexpr std::array<const char*, 4> kTexts = {"Cooling", "Heating", "Ventilation", "Standby"};

bool isOutput(bacnet::ObjectType type) {
  namespace object_type = bacnet::object_type;
  return type == object_type::kAnalogOutput || type == object_type::kBinaryOutput ||
         type == object_type::kMultiStateOutput;
}

// Points differ by their number: in phase, and in the level that they move about.
double wave(const plant::Point& point, double seconds) {
  constexpr double kFullTurn = 6.283185307179586;
  const double phase = seconds / kWaveSeconds + 0.1 * (point.regId % 10);
  return 20.0 + point.regId % 7 + 3.0 * std::sin(kFullTurn * phase);
}

std::uint64_t ticks(const plant::Point& point, double seconds, double period) {
  return static_cast<std::uint32_t>(point.regId) + static_cast<std::uint64_t>(seconds / period);
}

double number(const plant::Point& point, double seconds) {
  switch (point.type) {
    case plant::DataType::kUdint:
    case plant::DataType::kUint:
      return static_cast<double>(ticks(point, seconds, 1));
    case plant::DataType::kBool:
      return static_cast<double>(ticks(point, seconds, kToggleSeconds) % 2);
    default:
      return wave(point, seconds);
  }
}

// Nothing for types that stand still.
std::optional<bacnet::Value> movedValue(const bacnet::server::Property& property, const plant::Point& point,
                                        double seconds) {
  switch (property.datatype) {
    case Datatype::kReal:
      return static_cast<float>(number(point, seconds));
    case Datatype::kDouble:
      return number(point, seconds);
    case Datatype::kSigned:
      return static_cast<std::int64_t>(std::llround(wave(point, seconds)));
    case Datatype::kUnsigned: {
      if (!property.range) return ticks(point, seconds, 1);
      const auto states = static_cast<std::uint64_t>(property.range->second);
      return 1 + ticks(point, seconds, kToggleSeconds) % states;
    }
    case Datatype::kEnumerated:
      if (!property.range) return std::nullopt;
      return bacnet::Enumerated{static_cast<std::uint32_t>(ticks(point, seconds, kToggleSeconds) % 2)};
    case Datatype::kBoolean:
      return ticks(point, seconds, kToggleSeconds) % 2 == 1;
    case Datatype::kCharacterString:
      return bacnet::server::text(kTexts.at(ticks(point, seconds, kTextSeconds) % kTexts.size()));
    default:
      return std::nullopt;
  }
}

bool moves(const PlacedPoint& placed) {
  const auto id = static_cast<bacnet::PropertyId>(placed.point.propId);
  const bool isMeasured = id == property::kPresentValue ? !isOutput(placed.object->id().type) : id >= kFirstProprietary;
  return isMeasured && placed.object->find(id)->shape == Shape::kSingle;
}

}  // namespace

CMovement::CMovement(const std::vector<PlacedPoint>& points) {
  for (const PlacedPoint& each : points) {
    if (!moves(each)) continue;
    const auto id = static_cast<bacnet::PropertyId>(each.point.propId);
    const bool isDefault = id == property::kPresentValue && each.object->isCommandable();
    movers_.push_back({each, isDefault ? property::kRelinquishDefault : id, {}});
  }
}

void CMovement::moveTo(double seconds) {
  for (Mover& each : movers_) move(each, seconds);
}

void CMovement::move(Mover& mover, double seconds) {
  bacnet::server::CObject& object = *mover.placed.object;
  if (object.isOutOfService()) {
    mover.last.clear();  // whatever is written meanwhile, it moves again when it is back in service
    return;
  }
  const bool wasWritten = !mover.last.empty() && object.values(mover.property) != mover.last;
  if (wasWritten) return;
  if (auto value = movedValue(*object.find(mover.property), mover.placed.point, seconds)) {
    mover.last = {std::move(*value)};
    object.set(mover.property, mover.last);
  }
}

}  // namespace device
