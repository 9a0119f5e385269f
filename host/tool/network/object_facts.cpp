#include "host/tool/network/object_facts.h"

#include "bacnet/codec/describe.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"
#include "plant/object_points.h"

namespace tool {

namespace {

using bacnet::PropertyId;
namespace property = bacnet::property;
namespace object_type = bacnet::object_type;

constexpr std::size_t kOctetsOfText = 40;
constexpr std::size_t kOctetsOfNumber = 5;

enum class Kind { kAnalog, kBinary, kMultiState, kOther };

struct TypeTraits {
  Kind kind = Kind::kOther;
  bool mayBeCommanded = false;
};

TypeTraits traitsOf(bacnet::ObjectType type) {
  switch (type) {
    case object_type::kAnalogInput:
    case object_type::kLoop:
    case object_type::kAccumulator:
    case object_type::kPulseConverter:
      return {Kind::kAnalog, false};
    case object_type::kAnalogOutput:
    case object_type::kAnalogValue:
    case object_type::kIntegerValue:
    case object_type::kLargeAnalogValue:
    case object_type::kPositiveIntegerValue:
    case object_type::kLightingOutput:
      return {Kind::kAnalog, true};
    case object_type::kBinaryInput:
      return {Kind::kBinary, false};
    case object_type::kBinaryOutput:
    case object_type::kBinaryValue:
      return {Kind::kBinary, true};
    case object_type::kMultiStateInput:
      return {Kind::kMultiState, false};
    case object_type::kMultiStateOutput:
    case object_type::kMultiStateValue:
      return {Kind::kMultiState, true};
    default:
      return {Kind::kOther, true};
  }
}

std::optional<std::string> textOf(const Answers& answers, PropertyId wanted) {
  const auto found = answers.find(wanted);
  return found == answers.end() ? std::nullopt : std::optional(bacnet::describe(found->second));
}

std::optional<std::uint32_t> unitsOf(const Answers& answers) {
  const auto found = answers.find(property::kUnits);
  if (found == answers.end() || found->second.size() != 1) return std::nullopt;
  const auto* units = std::get_if<bacnet::Enumerated>(&found->second.front());
  return units ? std::optional(units->number) : std::nullopt;
}

// Of a binary object both or none.
std::vector<std::string> statesOf(const Answers& answers, Kind kind) {
  if (kind == Kind::kBinary) {
    const auto inactive = textOf(answers, property::kInactiveText);
    const auto active = textOf(answers, property::kActiveText);
    return inactive && active ? std::vector{*inactive, *active} : std::vector<std::string>();
  }
  std::vector<std::string> states;
  const auto found = answers.find(property::kStateText);
  if (found == answers.end()) return states;
  for (const bacnet::Value& each : found->second) states.push_back(bacnet::describe(each));
  return states;
}

}  // namespace

std::vector<bacnet::ReadItem> factItems(const bacnet::ObjectId& object) {
  std::vector<bacnet::ReadItem> items;
  const auto add = [&](PropertyId wanted, std::size_t octets, std::optional<bacnet::ArrayIndex> index = {}) {
    items.push_back({{object, {wanted, index}}, octets});
  };
  add(property::kObjectName, kOctetsOfText);
  add(property::kDescription, kOctetsOfText);
  if (plant::presentValueType(object.type) == nullptr) return items;
  const TypeTraits traits = traitsOf(object.type);
  if (traits.kind == Kind::kAnalog) add(property::kUnits, kOctetsOfNumber);
  if (traits.kind == Kind::kBinary) {
    add(property::kInactiveText, kOctetsOfText);
    add(property::kActiveText, kOctetsOfText);
  }
  if (traits.kind == Kind::kMultiState) add(property::kStateText, kOctetsOfText);
  if (traits.mayBeCommanded) add(property::kPriorityArray, kOctetsOfNumber, 1);
  return items;
}

ObjectFacts factsOf(const bacnet::ObjectId& object, const Answers& answers) {
  return {textOf(answers, property::kObjectName), textOf(answers, property::kDescription), unitsOf(answers),
          statesOf(answers, traitsOf(object.type).kind), answers.count(property::kPriorityArray) > 0};
}

std::uint32_t firstState(bacnet::ObjectType type) {
  return traitsOf(type).kind == Kind::kBinary ? 0 : 1;
}

bool isAnalog(bacnet::ObjectType type) {
  return traitsOf(type).kind == Kind::kAnalog;
}

}  // namespace tool
