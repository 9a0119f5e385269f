#include "bacnet/server/standard_object.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "bacnet/number/names.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"

namespace bacnet::server {

namespace {

enum class Kind { kAnalog, kBinary, kMultiState, kPlain };

struct TypeMeaning {
  ObjectType type;
  Kind kind;
  Datatype presentValue;
  bool isCommandable;
};

constexpr std::array<TypeMeaning, 29> kTypes = {{
    {0, Kind::kAnalog, Datatype::kReal, false},           // analog-input
    {1, Kind::kAnalog, Datatype::kReal, true},            // analog-output
    {2, Kind::kAnalog, Datatype::kReal, true},            // analog-value
    {3, Kind::kBinary, Datatype::kEnumerated, false},     // binary-input
    {4, Kind::kBinary, Datatype::kEnumerated, true},      // binary-output
    {5, Kind::kBinary, Datatype::kEnumerated, true},      // binary-value
    {6, Kind::kPlain, Datatype::kBoolean, false},         // calendar
    {12, Kind::kAnalog, Datatype::kReal, false},          // loop
    {13, Kind::kMultiState, Datatype::kUnsigned, false},  // multi-state-input
    {14, Kind::kMultiState, Datatype::kUnsigned, true},   // multi-state-output
    {17, Kind::kPlain, Datatype::kReal, false},           // schedule
    {19, Kind::kMultiState, Datatype::kUnsigned, true},   // multi-state-value
    {21, Kind::kPlain, Datatype::kEnumerated, false},     // life-safety-point
    {22, Kind::kPlain, Datatype::kEnumerated, false},     // life-safety-zone
    {23, Kind::kAnalog, Datatype::kUnsigned, false},      // accumulator
    {24, Kind::kAnalog, Datatype::kReal, false},          // pulse-converter
    {39, Kind::kPlain, Datatype::kBits, true},            // bitstring-value
    {40, Kind::kPlain, Datatype::kText, true},            // characterstring-value
    {41, Kind::kPlain, Datatype::kDate, true},            // date-pattern-value
    {42, Kind::kPlain, Datatype::kDate, true},            // date-value
    {43, Kind::kPlain, Datatype::kDateTime, true},        // datetime-pattern-value
    {44, Kind::kPlain, Datatype::kDateTime, true},        // datetime-value
    {45, Kind::kAnalog, Datatype::kSigned, true},         // integer-value
    {46, Kind::kAnalog, Datatype::kDouble, true},         // large-analog-value
    {47, Kind::kPlain, Datatype::kOctets, true},          // octetstring-value
    {48, Kind::kAnalog, Datatype::kUnsigned, true},       // positive-integer-value
    {49, Kind::kPlain, Datatype::kTime, true},            // time-pattern-value
    {50, Kind::kPlain, Datatype::kTime, true},            // time-value
    {54, Kind::kPlain, Datatype::kReal, true},            // lighting-output
}};

constexpr std::uint32_t kLargestUnit = 65535;
constexpr std::uint32_t kReliabilities = 23;  // no-fault-detected and the faults behind it
constexpr std::array<const char*, 4> kStateTexts = {"Off", "Low", "Medium", "High"};

const TypeMeaning* meaningOf(ObjectType type) {
  const auto* const found =
      std::find_if(kTypes.begin(), kTypes.end(), [&](const TypeMeaning& each) { return each.type == type; });
  return found == kTypes.end() ? nullptr : found;
}

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
  Property flags = single(Datatype::kBits, BitString{}, true);
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
  object.add(property::kActiveText, single(Datatype::kText, text("On"), false, Access::kAlways));
  object.add(property::kInactiveText, single(Datatype::kText, text("Off"), false, Access::kAlways));
  if (object.id().type != object_type::kBinaryValue) {
    object.add(property::kPolarity, single(Datatype::kEnumerated, Enumerated{0}, true));
  }
}

void addStates(CObject& object) {
  object.add(property::kNumberOfStates, single(Datatype::kUnsigned, std::uint64_t{kStateTexts.size()}, true));
  Property texts;
  texts.datatype = Datatype::kText;
  texts.shape = Shape::kArray;
  texts.access = Access::kAlways;
  for (const char* each : kStateTexts) texts.values.emplace_back(text(each));
  object.add(property::kStateText, std::move(texts));
}

Property presentValue(const TypeMeaning& meaning) {
  Property present;
  present.datatype = meaning.presentValue;
  present.values = zeroOf(meaning.presentValue);
  present.isRequired = true;
  present.access = Access::kOutOfService;
  if (meaning.kind == Kind::kBinary) present.range = {0, 1};
  if (meaning.kind == Kind::kMultiState) {
    present.values = {std::uint64_t{1}};
    present.range = {1, static_cast<double>(kStateTexts.size())};
  }
  return present;
}

}  // namespace

std::optional<Datatype> presentValueType(ObjectType type) {
  const TypeMeaning* meaning = meaningOf(type);
  return meaning == nullptr ? std::nullopt : std::make_optional(meaning->presentValue);
}

bool isCommandableType(ObjectType type) {
  const TypeMeaning* meaning = meaningOf(type);
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
    case Datatype::kOctets:
      return {OctetString{}};
    case Datatype::kText:
      return {CharacterString{}};
    case Datatype::kBits:
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
  object->add(property::kDescription, single(Datatype::kText, text(name), false, Access::kAlways));
  const TypeMeaning* meaning = meaningOf(id.type);
  if (meaning == nullptr) return object;

  addStatus(*object, !isValueType(id.type));
  object->add(property::kPresentValue, presentValue(*meaning));
  if (meaning->kind == Kind::kAnalog) addAnalog(*object, meaning->presentValue);
  if (meaning->kind == Kind::kBinary) addBinary(*object);
  if (meaning->kind == Kind::kMultiState) addStates(*object);
  if (meaning->isCommandable) object->makeCommandable(isOutput(id.type));
  return object;
}

}  // namespace bacnet::server
