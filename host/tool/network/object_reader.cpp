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
constexpr std::size_t kOctetsOfList = 1400;

// What is worth asking of such an object: none of it is in all devices.
std::vector<bacnet::ReadItem> itemsOf(const ObjectId& object) {
  std::vector<bacnet::ReadItem> items = factItems(object);
  if (plant::presentValueType(object.type) == nullptr) return items;
  std::vector<PropertyId> values = {property::kPresentValue, property::kStatusFlags};
  if (isAnalog(object.type)) values.push_back(property::kCovIncrement);
  for (const PropertyId each : values) items.push_back({{object, {each, {}}}, kOctetsOfNumber});
  return items;
}

template <typename Text>
Record orNull(const std::optional<Text>& text) {
  return text ? Record(*text) : Record();
}

Record unitsOf(const ObjectFacts& facts) {
  if (!facts.units) return {};
  const auto name = bacnet::kUnitNames.name(*facts.units);
  return name.empty() ? Record(std::to_string(*facts.units)) : Record(name);
}

Record valueOf(const Answers& answers) {
  const auto found = answers.find(property::kPresentValue);
  return found == answers.end() ? Record() : Record(bacnet::describe(found->second));
}

// The text of the state that the present value is in.
Record stateText(const ObjectId& object, const Answers& answers, const std::vector<std::string>& states) {
  const auto found = answers.find(property::kPresentValue);
  if (found == answers.end() || found->second.size() != 1) return {};
  std::uint64_t state = states.size();
  if (const auto* binary = std::get_if<bacnet::Enumerated>(&found->second.front())) state = binary->number;
  if (const auto* number = std::get_if<std::uint64_t>(&found->second.front())) state = *number;
  state -= firstState(object.type);
  return state < states.size() ? Record(states[state]) : Record();
}

Record flagsOf(const Answers& answers) {
  const auto found = answers.find(property::kStatusFlags);
  if (found == answers.end() || found->second.size() != 1) return {};
  const auto* flags = std::get_if<bacnet::BitString>(&found->second.front());
  if (flags == nullptr) return {};
  Record names = Record::array();
  for (const bacnet::NumberName& each : bacnet::kStatusFlagNames) {
    if (each.number < flags->bits.size() && flags->bits[each.number]) names.push_back(each.name);
  }
  return names;
}

// Notifications need status flags, and of a number the increment that they go by.
bool isNotified(const ObjectId& object, const Answers& answers) {
  return answers.count(property::kStatusFlags) > 0 && answers.count(property::kPresentValue) > 0 &&
         (!isAnalog(object.type) || answers.count(property::kCovIncrement) > 0);
}

Record recordOf(const ObjectId& object, const Answers& answers, bool takesSubscriptions) {
  const ObjectFacts facts = factsOf(object, answers);
  const auto typeName = bacnet::kObjectTypeNames.name(object.type);
  Record record;
  record["type"] = object.type;
  record["typeName"] = typeName.empty() ? Record() : Record(typeName);
  record["instance"] = object.instance;
  record["name"] = orNull(facts.name);
  record["value"] = valueOf(answers);
  record["valueText"] = stateText(object, answers, facts.states);
  record["units"] = unitsOf(facts);
  record["flags"] = flagsOf(answers);
  record["commandable"] = facts.isCommandable;
  record["cov"] = takesSubscriptions && isNotified(object, answers);
  record["states"] = facts.states.empty() ? Record() : Record(facts.states);
  record["description"] = orNull(facts.description);
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
  if (device_.isStopped()) return bacnet::Failure{};
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

void CObjectReader::readEach(const std::vector<ObjectId>& objects,
                             const std::function<std::vector<bacnet::ReadItem>(const ObjectId&)>& itemsOf,
                             const std::function<void(const ObjectId&, const Answers&)>& take) {
  for (std::size_t first = 0; first < objects.size() && !device_.isStopped(); first += kObjectsAtATime) {
    const std::size_t last = std::min(first + kObjectsAtATime, objects.size());
    std::vector<bacnet::ReadItem> items;
    for (std::size_t i = first; i < last; ++i) {
      const auto own = itemsOf(objects[i]);
      items.insert(items.end(), own.begin(), own.end());
    }
    const auto outcomes = device_.read(items);
    if (device_.isStopped() || device_.profile().isSilent) break;
    std::map<ObjectId, Answers> answers;
    for (std::size_t i = 0; i < items.size(); ++i) {
      const auto& [object, reference] = items[i].address;
      if (const auto* values = std::get_if<bacnet::Values>(&outcomes[i])) answers[object][reference.property] = *values;
    }
    for (std::size_t i = first; i < last; ++i) take(objects[i], answers[objects[i]]);
  }
}

std::vector<Record> CObjectReader::readObjects(const std::vector<ObjectId>& objects) {
  std::vector<Record> records;
  const auto& services = device_.profile().services.bits;
  const bool takesSubscriptions =
      bacnet::service_bit::kSubscribeCov < services.size() && services[bacnet::service_bit::kSubscribeCov];
  readEach(objects, itemsOf, [&](const ObjectId& object, const Answers& answers) {
    records.push_back(recordOf(object, answers, takesSubscriptions));
    sayProgress(fmt::format("{} of {} objects read", records.size(), objects.size()));
  });
  sayProgress("");
  return records;
}

std::map<ObjectId, ObjectFacts> CObjectReader::readFacts(const std::vector<ObjectId>& objects) {
  std::map<ObjectId, ObjectFacts> facts;
  readEach(objects, factItems, [&](const ObjectId& object, const Answers& answers) {
    if (!answers.empty()) facts.emplace(object, factsOf(object, answers));
  });
  return facts;
}

}  // namespace tool
