#include "bacnet/server/standard_object.h"

#include <array>
#include <iterator>
#include <utility>

#include "bacnet/number/names.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/present_values.h"
#include "bacnet/number/properties.h"

namespace bacnet::server {

namespace {

constexpr std::uint32_t kLargestUnit = 65535;
constexpr std::uint32_t kReliabilities = 23;  // no-fault-detected and the faults behind it
constexpr std::array<const char*, 4> kStateTexts = {"Off", "Low", "Medium", "High"};

bool isOutput(ObjectType type) {
  return type == object_type::kAnalogOutput || type == object_type::kBinaryOutput ||
         type == object_type::kMultiStateOutput;
}

bool isValueType(ObjectType type) {
  return type >= 39 && type <= 50;
}

Property single(Datatype datatype, Value value, bool isRequired, Access access = Access::kReadOnly) {
  Property property;
  property.datatype = datatype;
  property.values = {std::move(value)};
  property.isRequired = isRequired;
  property.access = access;
  return property;
}

bool isNonZero(const CObject& object, PropertyId id) {
  const Values values = object.values(id);
  return values.size() == 1 && numberOf(values[0]).value_or(0) != 0;
}

// In alarm, fault, overridden, out of service.
Values statusFlags(const CObject& object) {
  return {BitString{{isNonZero(object, property::kEventState), isNonZero(object, property::kReliability), false,
                     object.isOutOfService()}}};
}

void addStatus(CObject& object, bool isRequired) {
  Property flags = single(Datatype::kBitString, BitString{}, true);
  flags.computed = statusFlags;
  object.add(property::kStatusFlags, std::move(flags));
  object.add(property::kEventState, single(Datatype::kEnumerated, Enumerated{0}, isRequired));
  Property reliability = single(Datatype::kEnumerated, Enumerated{0}, false, Access::kOutOfService);
  reliability.range = {0, kReliabilities};
  object.add(property::kReliability, std::move(reliability));
  object.add(property::kOutOfService, single(Datatype::kBoolean, false, isRequired, Access::kAlways));
}

void addAnalog(CObject& object, Datatype datatype) {
  Property units = single(Datatype::kEnumerated, Enumerated{kNoUnits}, true, Access::kAlways);
  units.range = {0, kLargestUnit};
  object.add(property::kUnits, std::move(units));
  Property increment = single(datatype, datatype == Datatype::kDouble ? Value(0.1) : Value(0.1F), false);
  if (datatype == Datatype::kUnsigned || datatype == Datatype::kSigned) {
    increment = single(Datatype::kUnsigned, std::uint64_t{1}, false);
  }
  increment.access = Access::kAlways;
  increment.range = {0, 1e30};
  object.add(property::kCovIncrement, std::move(increment));
}

void addBinary(CObject& object) {
  object.add(property::kActiveText, single(Datatype::kCharacterString, text("On"), false, Access::kAlways));
  object.add(property::kInactiveText, single(Datatype::kCharacterString, text("Off"), false, Access::kAlways));
  if (object.id().type != object_type::kBinaryValue) {
    object.add(property::kPolarity, single(Datatype::kEnumerated, Enumerated{0}, true));
  }
}

void addStates(CObject& object) {
  object.add(property::kNumberOfStates, single(Datatype::kUnsigned, std::uint64_t{kStateTexts.size()}, true));
  Property texts;
  texts.datatype = Datatype::kCharacterString;
  texts.shape = Shape::kArray;
  texts.access = Access::kAlways;
  for (const char* each : kStateTexts) texts.values.emplace_back(text(each));
  object.add(property::kStateText, std::move(texts));
}

Property presentValue(const PresentValueMeaning& meaning) {
  Property present;
  present.datatype = meaning.type == Datatype::kAny ? Datatype::kReal : meaning.type;  // schedules switch a Real here
  present.values = zeroOf(present.datatype);
  present.isRequired = true;
  present.access = Access::kOutOfService;
  if (meaning.kind == ObjectKind::kBinary) present.range = {0, 1};
  if (meaning.kind == ObjectKind::kMultiState) {
    present.values = {std::uint64_t{1}};
    present.range = {1, static_cast<double>(kStateTexts.size())};
  }
  return present;
}

}  // namespace

bool isCommandableType(ObjectType type) {
  const PresentValueMeaning* meaning = presentValueOf(type);
  return meaning != nullptr && meaning->isCommandable;
}

Values zeroOf(Datatype datatype) {
  switch (datatype) {
    case Datatype::kBoolean:
      return {false};
    case Datatype::kUnsigned:
      return {std::uint64_t{0}};
    case Datatype::kSigned:
      return {std::int64_t{0}};
    case Datatype::kReal:
      return {0.0F};
    case Datatype::kDouble:
      return {0.0};
    case Datatype::kOctetString:
      return {OctetString{}};
    case Datatype::kCharacterString:
      return {CharacterString{}};
    case Datatype::kBitString:
      return {BitString{std::vector<bool>(8)}};
    case Datatype::kEnumerated:
      return {Enumerated{0}};
    case Datatype::kDate:
      return {Date{}};
    case Datatype::kTime:
      return {Time{}};
    case Datatype::kDateTime:
      return {Date{}, Time{}};
    case Datatype::kObjectId:
      return {ObjectId{}};
    case Datatype::kAny:
      break;
  }
  return {Null{}};
}

std::unique_ptr<CObject> makeStandardObject(ObjectId id, const std::string& name) {
  auto object = std::make_unique<CObject>(id, name);
  object->add(property::kDescription, single(Datatype::kCharacterString, text(name), false, Access::kAlways));
  const PresentValueMeaning* meaning = presentValueOf(id.type);
  if (meaning == nullptr) return object;

  addStatus(*object, !isValueType(id.type));
  object->add(property::kPresentValue, presentValue(*meaning));
  if (meaning->kind == ObjectKind::kAnalog) addAnalog(*object, meaning->type);
  if (meaning->kind == ObjectKind::kBinary) addBinary(*object);
  if (meaning->kind == ObjectKind::kMultiState) addStates(*object);
  if (meaning->isCommandable) object->makeCommandable(isOutput(id.type));
  return object;
}

}  // namespace bacnet::server
