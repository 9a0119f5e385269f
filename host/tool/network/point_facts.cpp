#include "host/tool/network/point_facts.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <set>
#include <type_traits>
#include <variant>

#include "bacnet/client/device_text.h"
#include "bacnet/number/names.h"
#include "bacnet/number/properties.h"
#include "bacnet/number/value_names.h"
#include "host/tool/failure.h"
#include "host/tool/network/device.h"
#include "host/tool/network/object_reader.h"

namespace tool {

namespace {

constexpr std::uint32_t kBitsOfValue = 32;  // of a register's integer

bacnet::ObjectId objectOf(const plant::Point& point) {
  return {static_cast<bacnet::ObjectType>(point.objectType), static_cast<std::uint32_t>(point.instance)};
}

bacnet::PropertyId propertyOf(const plant::Point& point) {
  return static_cast<bacnet::PropertyId>(point.propId);
}

// Of an array whose elements are of the object's value the elements only.
bool isElement(const plant::Point& point) {
  return propertyOf(point) == bacnet::property::kPriorityArray ? point.arrayIndex > 0 : point.arrayIndex < 0;
}

// A BOOL is one bit of them.
void addBits(const plant::Point& point, const bacnet::CNameTable& names, PointFacts& facts) {
  if (point.type != plant::DataType::kBool) {
    facts.areBits = true;
    for (const bacnet::NumberName& each : names) facts.texts.emplace(each.number, each.name);
    return;
  }
  const auto name = std::string(names.name(static_cast<std::uint32_t>(point.bitNum)));
  if (!name.empty()) facts.texts = {{0, "not " + name}, {1, name}};
}

std::string unitText(std::uint32_t units) {
  if (units == bacnet::kNoUnits) return {};
  const auto symbol = bacnet::kUnitSymbols.name(units);
  return std::string(symbol.empty() ? bacnet::kUnitNames.name(units) : symbol);
}

void add(const plant::Point& point, const ObjectFacts& object, PointFacts& facts) {
  facts.isFromDevice = true;
  facts.objectName = object.name.value_or("");
  facts.description = object.description.value_or("");
  facts.isCommandable = object.isCommandable;
  if (!isElement(point)) return;
  const bool isBool = point.type == plant::DataType::kBool;
  if (object.units && !isBool && bacnet::isInItsUnits(propertyOf(point))) facts.unit = unitText(*object.units);
  const std::uint32_t first = firstState(objectOf(point).type);
  if (object.states.empty() || !bacnet::isState(propertyOf(point)) || (isBool && first != 0)) return;
  facts.texts.clear();
  for (std::uint32_t i = 0; i < object.states.size(); ++i) {
    if (!object.states[i].empty()) facts.texts.emplace(first + i, object.states[i]);
  }
}

std::vector<bacnet::ObjectId> objectsOf(const std::vector<plant::Point>& points) {
  std::set<bacnet::ObjectId> objects;
  for (const plant::Point& point : points) objects.insert(objectOf(point));
  return {objects.begin(), objects.end()};
}

// Result: nothing with `problem` where the device does not answer. Asks it for one thing first, which is given up
// sooner than many.
std::map<bacnet::ObjectId, ObjectFacts> read(const plant::Link& link, const std::vector<plant::Point>& points,
                                             const std::string& networkInterface, const FactsLimit& limit,
                                             std::string& problem) {
  LinkDevice asked(link, networkInterface);
  CStation& station = asked.station;
  CDevice& device = asked.device;
  const io::TimePoint end = station.timers().now() + limit.time;
  station.stopWhen([&] { return station.timers().now() >= end || (limit.isStopped && limit.isStopped()); });
  const std::vector<bacnet::ObjectId> objects = objectsOf(points);
  const auto first = device.read({{{objects.front(), {bacnet::property::kObjectName, {}}}}}).front();
  const auto* failure = std::get_if<bacnet::Failure>(&first);
  const bool isAnswer = failure == nullptr || failure->kind == bacnet::Failure::Kind::kError ||
                        failure->kind == bacnet::Failure::Kind::kReject ||
                        failure->kind == bacnet::Failure::Kind::kAbort;
  if (!isAnswer) return problem = bacnet::failureText(*failure), std::map<bacnet::ObjectId, ObjectFacts>();
  auto facts = CObjectReader(device).readFacts(objects);
  if (station.isStopped()) problem = "it was not asked to the end";
  if (device.profile().isSilent) problem = "it has fallen silent";
  return facts;
}

// A whole number from 0 on, also one that a text is.
std::optional<std::uint32_t> numberOf(const plant::Value& value) {
  return std::visit(
      [](const auto& held) -> std::optional<std::uint32_t> {
        using Held = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<Held, std::string>) {
          std::uint32_t number = 0;
          const char* const end = held.data() + held.size();
          const auto [stop, failure] = std::from_chars(held.data(), end, number);
          return failure == std::errc() && stop == end ? std::optional(number) : std::nullopt;
        } else if constexpr (std::is_floating_point_v<Held>) {
          const bool isWhole = held >= 0 && held <= Held{1e9} && std::floor(held) == held;
          return isWhole ? std::optional(static_cast<std::uint32_t>(held)) : std::nullopt;
        } else {
          return static_cast<std::uint32_t>(held);
        }
      },
      value);
}

// The bits that are set: of a text's ones and noughts, or of a number.
std::optional<std::vector<std::uint32_t>> bitsIn(const plant::Value& value) {
  std::vector<std::uint32_t> bits;
  if (const auto* text = std::get_if<std::string>(&value)) {
    if (text->empty() || text->find_first_not_of("01") != std::string::npos) return std::nullopt;
    for (std::uint32_t bit = 0; bit < text->size(); ++bit) {
      if ((*text)[bit] == '1') bits.push_back(bit);
    }
    return bits;
  }
  const auto number = numberOf(value);
  if (!number) return std::nullopt;
  for (std::uint32_t bit = 0; bit < kBitsOfValue; ++bit) {
    if ((*number >> bit & 1U) != 0) bits.push_back(bit);
  }
  return bits;
}

std::string namesOfBits(const PointFacts& facts, const std::vector<std::uint32_t>& bits) {
  std::string names;
  for (const std::uint32_t bit : bits) {
    const auto name = facts.texts.find(bit);
    names += (names.empty() ? "" : ", ") + (name == facts.texts.end() ? "bit " + std::to_string(bit) : name->second);
  }
  return names.empty() ? "none" : names;
}

}  // namespace

PointFacts standardFacts(const plant::Point& point) {
  PointFacts facts;
  if (!isElement(point)) return facts;
  if (const auto* bits = bacnet::bitsOf(propertyOf(point))) addBits(point, *bits, facts);
  const auto* names = bacnet::enumerationOf(objectOf(point).type, propertyOf(point));
  // A BOOL of more than two is one bit of the number.
  if (names == nullptr || (point.type == plant::DataType::kBool && names->end() - names->begin() > 2)) return facts;
  for (const bacnet::NumberName& each : *names) facts.texts.emplace(each.number, each.name);
  return facts;
}

std::vector<PointFacts> readPointFacts(const plant::Link& link, const std::vector<plant::Point>& points,
                                       const std::string& networkInterface, const FactsLimit& limit,
                                       std::string& problem) {
  problem.clear();
  std::map<bacnet::ObjectId, ObjectFacts> objects;
  if (points.empty()) return {};
  if (const auto failure = failureOf([&] { objects = read(link, points, networkInterface, limit, problem); }))
    problem = failure->problem();
  std::vector<PointFacts> all;
  for (const plant::Point& point : points) {
    all.push_back(standardFacts(point));
    const auto object = objects.find(objectOf(point));
    if (object != objects.end()) add(point, object->second, all.back());
  }
  return all;
}

std::string wordsOf(const PointFacts& facts, const plant::Value& value) {
  if (facts.areBits) {
    const auto bits = bitsIn(value);
    return bits ? namesOfBits(facts, *bits) : "";
  }
  const auto number = numberOf(value);
  const auto text = number ? facts.texts.find(*number) : facts.texts.end();
  return text == facts.texts.end() ? "" : text->second;
}

std::string readable(const PointFacts& facts, const plant::Value& value, const std::string& number) {
  std::string words = wordsOf(facts, value);
  if (!words.empty()) return words;
  return facts.unit.empty() ? number : number + " " + facts.unit;
}

}  // namespace tool
