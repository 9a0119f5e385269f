#include "host/tool/network/object_facts.h"

#include "bacnet/codec/describe.h"
#include "bacnet/number/present_values.h"
#include "bacnet/number/properties.h"
#include "host/tool/network/device.h"
#include "plant/object_points.h"

namespace tool {

namespace {

using bacnet::ObjectKind;
using bacnet::PropertyId;
namespace property = bacnet::property;

ObjectKind kindOf(bacnet::ObjectType type) {
  const bacnet::PresentValueMeaning* meaning = bacnet::presentValueOf(type);
  return meaning == nullptr ? ObjectKind::kPlain : meaning->kind;
}

// A maker's own object may be.
bool mayBeCommanded(bacnet::ObjectType type) {
  const bacnet::PresentValueMeaning* meaning = bacnet::presentValueOf(type);
  return meaning == nullptr || meaning->isCommandable;
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
std::vector<std::string> statesOf(const Answers& answers, ObjectKind kind) {
  if (kind == ObjectKind::kBinary) {
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
  const ObjectKind kind = kindOf(object.type);
  if (kind == ObjectKind::kAnalog) add(property::kUnits, kOctetsOfNumber);
  if (kind == ObjectKind::kBinary) {
    add(property::kInactiveText, kOctetsOfText);
    add(property::kActiveText, kOctetsOfText);
  }
  if (kind == ObjectKind::kMultiState) add(property::kStateText, kOctetsOfText);
  if (mayBeCommanded(object.type)) add(property::kPriorityArray, kOctetsOfNumber, 1);
  return items;
}

ObjectFacts factsOf(const bacnet::ObjectId& object, const Answers& answers) {
  return {textOf(answers, property::kObjectName), textOf(answers, property::kDescription), unitsOf(answers),
          statesOf(answers, kindOf(object.type)), answers.count(property::kPriorityArray) > 0};
}

std::uint32_t firstState(bacnet::ObjectType type) {
  return kindOf(type) == ObjectKind::kBinary ? 0 : 1;
}

bool isAnalog(bacnet::ObjectType type) {
  return kindOf(type) == ObjectKind::kAnalog;
}

}  // namespace tool
