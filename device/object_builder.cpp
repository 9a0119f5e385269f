#include "device/object_builder.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "bacnet/number/names.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/present_values.h"
#include "bacnet/number/properties.h"
#include "bacnet/server/standard_object.h"

namespace device {

namespace {

namespace property = bacnet::property;
using bacnet::Datatype;
using bacnet::ObjectId;
using bacnet::server::Access;
using bacnet::server::CDevice;
using bacnet::server::CObject;
using bacnet::server::Property;
using bacnet::server::Shape;

constexpr std::int32_t kLargestType = 1023;
constexpr std::int32_t kLargestProperty = 4194303;
constexpr std::int32_t kLargestArray = 10000;

std::string textOf(ObjectId id) {
  const auto name = bacnet::kObjectTypeNames.name(id.type);
  return name.empty() ? fmt::format("object {},{}", id.type, id.instance) : fmt::format("{} {}", name, id.instance);
}

std::string propertyText(std::int32_t id) {
  const auto name = bacnet::kPropertyNames.name(static_cast<std::uint32_t>(id));
  return name.empty() ? fmt::format("property {}", id) : std::string(name);
}

std::optional<ObjectId> objectOf(const plant::Point& point) {
  const bool isObject = point.objectType >= 0 && point.objectType <= kLargestType && point.instance >= 0 &&
                        point.instance < static_cast<std::int32_t>(bacnet::kLargestInstance) && point.propId >= 0 &&
                        point.propId <= kLargestProperty && point.arrayIndex <= kLargestArray;
  if (!isObject) return std::nullopt;
  return ObjectId{static_cast<bacnet::ObjectType>(point.objectType), static_cast<std::uint32_t>(point.instance)};
}

// The point of the present value names the object, else the first one.
std::string nameFor(ObjectId id, const std::vector<plant::Point>& points, CDevice& device) {
  const auto isOfObject = [&](const plant::Point& point) { return objectOf(point) == id; };
  auto named = std::find_if(points.begin(), points.end(), [&](const plant::Point& point) {
    return isOfObject(point) && point.propId == static_cast<std::int32_t>(property::kPresentValue);
  });
  const bool isPresentValue = named != points.end();
  if (!isPresentValue) named = std::find_if(points.begin(), points.end(), isOfObject);
  std::string name = isPresentValue ? named->fullName() : named->name;
  while (name.empty() || device.findByName(name) != nullptr) name += fmt::format(" ({})", textOf(id));
  return name;
}

/// Bit strings of the standard that a point may take a bit of.
std::size_t bitsOf(bacnet::PropertyId id) {
  switch (id) {
    case property::kAckedTransitions:
    case property::kEventEnable:
      return 3;
    case property::kLimitEnable:
      return 2;
    default:
      return 0;
  }
}

Datatype datatypeOf(plant::DataType type) {
  switch (type) {
    case plant::DataType::kBool:
      return Datatype::kBoolean;
    case plant::DataType::kReal:
      return Datatype::kReal;
    case plant::DataType::kDouble:
      return Datatype::kDouble;
    case plant::DataType::kString:
      return Datatype::kCharacterString;
    case plant::DataType::kEnumerated:
      return Datatype::kEnumerated;
    default:
      return Datatype::kUnsigned;
  }
}

// A property that the standard's object does not have: of a type that the point's data type can take.
Property propertyFor(const plant::Point& point) {
  Property property;
  property.access = Access::kAlways;
  property.datatype = datatypeOf(point.type);
  property.values = bacnet::server::zeroOf(property.datatype);
  if (const std::size_t bits = bitsOf(static_cast<bacnet::PropertyId>(point.propId))) {
    property.datatype = Datatype::kBitString;
    property.values = {bacnet::BitString{std::vector<bool>(bits)}};
  }
  if (point.arrayIndex >= 0) {
    property.shape = Shape::kArray;
    property.values.clear();
  }
  return property;
}

// An array has at least the element that a point names; states come with their texts.
void growTo(std::size_t count, bacnet::PropertyId id, CObject& object) {
  Property property = *object.find(id);
  if (property.computed || property.values.size() >= count) return;
  while (property.values.size() < count) {
    const bool isState = id == property::kStateText;
    property.values.push_back(isState ? bacnet::server::text(fmt::format("State {}", property.values.size() + 1))
                                      : bacnet::server::zeroOf(property.datatype).front());
  }
  object.add(id, std::move(property));
  if (id != property::kStateText || !object.has(property::kNumberOfStates)) return;
  object.set(property::kNumberOfStates, {std::uint64_t{count}});
  for (const auto limited : {property::kPresentValue, property::kRelinquishDefault}) {
    if (const Property* present = object.find(limited)) {
      Property wider = *present;
      wider.range = {1, static_cast<double>(count)};
      object.add(limited, std::move(wider));
    }
  }
}

bool isOfCommandOnly(bacnet::PropertyId id) {
  return id == property::kPriorityArray || id == property::kRelinquishDefault;
}

// Result: whether the object has the property now; `objection` says what it would answer to the point all the same.
bool place(const plant::Point& point, CObject& object, std::optional<std::string>& objection) {
  const auto id = static_cast<bacnet::PropertyId>(point.propId);
  if (!object.has(id)) {
    const bool isStandardType = bacnet::presentValueOf(object.id().type) != nullptr;
    if (isStandardType && isOfCommandOnly(id)) {
      objection = fmt::format("{} is not commanded and has no {}", textOf(object.id()), propertyText(point.propId));
      return false;
    }
    object.add(id, propertyFor(point));
  }
  if (point.arrayIndex < 0) return true;
  if (object.find(id)->shape == Shape::kArray) {
    growTo(static_cast<std::size_t>(point.arrayIndex), id, object);
  } else {
    objection = fmt::format("{} of {} is no array, reading [{}] of it is an error", propertyText(point.propId),
                            textOf(object.id()), point.arrayIndex);
  }
  return true;
}

}  // namespace

std::vector<PlacedPoint> addObjects(const std::vector<plant::Point>& points, CDevice& device,
                                    std::vector<std::string>& remarks) {
  std::vector<PlacedPoint> placed;
  for (const plant::Point& point : points) {
    const auto id = objectOf(point);
    if (!id) {
      remarks.push_back(fmt::format("{}: no such object or property can be", point.fullName()));
      continue;
    }
    CObject* object = device.find(*id);
    if (object == nullptr && id->type == bacnet::object_type::kDevice) {
      remarks.push_back(
          fmt::format("{}: {} is another device, this is {}", point.fullName(), textOf(*id), device.instance()));
      continue;
    }
    if (object == nullptr) object = device.add(bacnet::server::makeStandardObject(*id, nameFor(*id, points, device)));
    std::optional<std::string> objection;
    if (place(point, *object, objection)) placed.push_back({point, object});
    if (objection) remarks.push_back(fmt::format("{}: {}", point.fullName(), *objection));
  }
  return placed;
}

}  // namespace device
