#include "host/tool/network/object_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <string>

#include "bacnet/codec/describe.h"
#include "bacnet/number/names.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"
#include "bacnet/number/services.h"
#include "host/tool/console/error_relay.h"
#include "host/tool/console/interrupt.h"
#include "plant/object_points.h"

namespace tool {

namespace {

using bacnet::ObjectId;
using bacnet::PropertyId;
namespace property = bacnet::property;
namespace object_type = bacnet::object_type;

constexpr std::size_t kElementsAtATime = 50;
constexpr std::size_t kObjectsAtATime = 10;  // between two looks at Ctrl-C
constexpr std::size_t kOctetsOfId = 5;
constexpr std::size_t kOctetsOfText = 40;
constexpr std::size_t kOctetsOfList = 1400;
constexpr const char* kFlagNames[] = {"in-alarm", "fault", "overridden", "out-of-service"};

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

// What is worth asking of such an object: none of it is in all devices.
std::vector<PropertyId> propertiesOf(const ObjectId& object) {
  std::vector<PropertyId> wanted = {property::kObjectName, property::kDescription};
  if (plant::presentValueType(object.type) == nullptr) return wanted;
  const TypeTraits traits = traitsOf(object.type);
  wanted.insert(wanted.end(), {property::kPresentValue, property::kStatusFlags});
  if (traits.kind == Kind::kAnalog) wanted.insert(wanted.end(), {property::kUnits, property::kCovIncrement});
  if (traits.kind == Kind::kBinary) wanted.insert(wanted.end(), {property::kInactiveText, property::kActiveText});
  if (traits.kind == Kind::kMultiState) wanted.push_back(property::kStateText);
  if (traits.mayBeCommanded) wanted.push_back(property::kPriorityArray);
  return wanted;
}

bacnet::ReadItem itemOf(const ObjectId& object, PropertyId wanted) {
  const bool isShort = wanted == property::kPresentValue || wanted == property::kStatusFlags ||
                       wanted == property::kUnits || wanted == property::kCovIncrement ||
                       wanted == property::kPriorityArray;
  // One element tells whether there is a priority array.
  const auto index = wanted == property::kPriorityArray ? std::optional<bacnet::ArrayIndex>(1) : std::nullopt;
  return {{object, {wanted, index}}, isShort ? kOctetsOfId : kOctetsOfText};
}

using Answers = std::map<PropertyId, bacnet::Values>;  // of one object; what it does not have is not there

Record textOf(const Answers& answers, PropertyId wanted) {
  const auto found = answers.find(wanted);
  return found == answers.end() ? Record() : Record(bacnet::describe(found->second));
}

Record unitsOf(const Answers& answers) {
  const auto found = answers.find(property::kUnits);
  if (found == answers.end() || found->second.size() != 1) return {};
  const auto* units = std::get_if<bacnet::Enumerated>(&found->second.front());
  const auto name = units ? bacnet::kUnitNames.name(units->number) : std::string_view();
  return name.empty() ? Record(bacnet::describe(found->second)) : Record(name);
}

Record statesOf(const Answers& answers, Kind kind) {
  Record states = Record::array();
  if (kind == Kind::kBinary) {
    for (const PropertyId each : {property::kInactiveText, property::kActiveText}) {
      if (answers.count(each) > 0) states.push_back(textOf(answers, each));
    }
    return states.size() == 2 ? states : Record();
  }
  const auto found = answers.find(property::kStateText);
  if (found == answers.end()) return {};
  for (const bacnet::Value& each : found->second) states.push_back(bacnet::describe(each));
  return states;
}

// The text of the state that the present value is in: binary states count from 0, the others from 1.
Record stateText(const Answers& answers, const Record& states) {
  const auto found = answers.find(property::kPresentValue);
  if (found == answers.end() || found->second.size() != 1 || !states.is_array()) return {};
  std::size_t state = states.size();
  if (const auto* binary = std::get_if<bacnet::Enumerated>(&found->second.front())) state = binary->number;
  if (const auto* number = std::get_if<std::uint64_t>(&found->second.front())) state = *number - 1;
  return state < states.size() ? states[state] : Record();
}

Record flagsOf(const Answers& answers) {
  const auto found = answers.find(property::kStatusFlags);
  if (found == answers.end() || found->second.size() != 1) return {};
  const auto* flags = std::get_if<bacnet::BitString>(&found->second.front());
  if (flags == nullptr) return {};
  Record names = Record::array();
  for (std::size_t bit = 0; bit < std::size(kFlagNames) && bit < flags->bits.size(); ++bit) {
    if (flags->bits[bit]) names.push_back(kFlagNames[bit]);
  }
  return names;
}

// Notifications need status flags, and of a number the increment that they go by.
bool isNotified(const Answers& answers, Kind kind) {
  return answers.count(property::kStatusFlags) > 0 && answers.count(property::kPresentValue) > 0 &&
         (kind != Kind::kAnalog || answers.count(property::kCovIncrement) > 0);
}

Record recordOf(const ObjectId& object, const Answers& answers, bool takesSubscriptions) {
  const Kind kind = traitsOf(object.type).kind;
  const auto typeName = bacnet::kObjectTypeNames.name(object.type);
  Record record;
  record["type"] = object.type;
  record["typeName"] = typeName.empty() ? Record() : Record(typeName);
  record["instance"] = object.instance;
  record["name"] = textOf(answers, property::kObjectName);
  record["value"] = textOf(answers, property::kPresentValue);
  const Record states = statesOf(answers, kind);
  record["valueText"] = stateText(answers, states);
  record["units"] = unitsOf(answers);
  record["flags"] = flagsOf(answers);
  record["commandable"] = answers.count(property::kPriorityArray) > 0;
  record["cov"] = takesSubscriptions && isNotified(answers, kind);
  record["states"] = states;
  record["description"] = textOf(answers, property::kDescription);
  return record;
}

void addIds(const bacnet::Values& values, std::vector<ObjectId>& objects) {
  for (const bacnet::Value& value : values) {
    if (const auto* id = std::get_if<ObjectId>(&value)) objects.push_back(*id);
  }
}

bacnet::ReadItem listItem(std::uint32_t instance, std::optional<bacnet::ArrayIndex> index, std::size_t octets) {
  return {{{object_type::kDevice, instance}, {property::kObjectList, index}}, octets};
}

}  // namespace

std::optional<bacnet::Failure> CObjectReader::readList(std::uint32_t instance, std::vector<ObjectId>& objects) {
  const auto whole = device_.read({listItem(instance, std::nullopt, kOctetsOfList)}).front();
  if (const auto* values = std::get_if<bacnet::Values>(&whole)) return addIds(*values, objects), std::nullopt;
  if (isInterrupted()) return bacnet::Failure{};
  return readElements(instance, objects);
}

std::optional<bacnet::Failure> CObjectReader::readElements(std::uint32_t instance, std::vector<ObjectId>& objects) {
  const auto length = device_.read({listItem(instance, 0, kOctetsOfId)}).front();
  if (const auto* failure = std::get_if<bacnet::Failure>(&length)) return *failure;
  const auto& values = std::get<bacnet::Values>(length);
  const auto* count = values.size() == 1 ? std::get_if<std::uint64_t>(&values.front()) : nullptr;
  if (count == nullptr) return bacnet::Failure{bacnet::Failure::Kind::kUndecodable, {}, 0};
  for (std::uint64_t next = 1; next <= *count;) {
    std::vector<bacnet::ReadItem> items;
    for (; next <= *count && items.size() < kElementsAtATime; ++next)
      items.push_back(listItem(instance, static_cast<bacnet::ArrayIndex>(next), kOctetsOfId));
    for (const auto& outcome : device_.read(items)) {
      if (const auto* failure = std::get_if<bacnet::Failure>(&outcome)) return sayProgress(""), *failure;
      addIds(std::get<bacnet::Values>(outcome), objects);
    }
    sayProgress(fmt::format("{} of {} objects listed", objects.size(), *count));
  }
  sayProgress("");
  return std::nullopt;
}

std::vector<Record> CObjectReader::readObjects(const std::vector<ObjectId>& objects) {
  std::vector<Record> records;
  const auto& services = device_.profile().services.bits;
  const bool takesSubscriptions =
      bacnet::service_bit::kSubscribeCov < services.size() && services[bacnet::service_bit::kSubscribeCov];
  for (std::size_t first = 0; first < objects.size() && !isInterrupted(); first += kObjectsAtATime) {
    const std::size_t last = std::min(first + kObjectsAtATime, objects.size());
    std::vector<bacnet::ReadItem> items;
    for (std::size_t i = first; i < last; ++i) {
      for (const PropertyId wanted : propertiesOf(objects[i])) items.push_back(itemOf(objects[i], wanted));
    }
    const auto outcomes = device_.read(items);
    if (isInterrupted() || device_.profile().isSilent) break;
    std::map<ObjectId, Answers> answers;
    for (std::size_t i = 0; i < items.size(); ++i) {
      const auto& [object, reference] = items[i].address;
      if (const auto* values = std::get_if<bacnet::Values>(&outcomes[i])) answers[object][reference.property] = *values;
    }
    for (std::size_t i = first; i < last; ++i)
      records.push_back(recordOf(objects[i], answers[objects[i]], takesSubscriptions));
    sayProgress(fmt::format("{} of {} objects read", records.size(), objects.size()));
  }
  sayProgress("");
  return records;
}

}  // namespace tool
