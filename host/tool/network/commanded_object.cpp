#include "host/tool/network/commanded_object.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "bacnet/client/device_text.h"
#include "bacnet/codec/bvlc.h"
#include "bacnet/codec/describe.h"
#include "bacnet/codec/value_text.h"
#include "bacnet/number/failures.h"
#include "bacnet/number/names.h"
#include "bacnet/number/properties.h"
#include "bacnet/service/value_source.h"
#include "host/tool/failure.h"
#include "host/tool/network/device_record.h"
#include "io/address.h"

namespace tool {

namespace {

using bacnet::PropertyId;

constexpr std::size_t kOctetsOfSlots = std::size_t{16} * 6;
constexpr std::size_t kOctetsOfSources = std::size_t{16} * 12;
constexpr std::size_t kOctetsOfTimes = std::size_t{16} * 12;
constexpr const char* kNotCommanded = "it has no priority array: a write there has no priority, and nothing to release";

bacnet::ReadItem item(const bacnet::ObjectId& object, PropertyId property, std::size_t octets = 8) {
  return {{object, {property, {}}}, octets};
}

std::string wordsOf(const bacnet::Failure& failure) {
  std::string words = bacnet::failureText(failure);
  if (failure.kind == bacnet::Failure::Kind::kSilent) words += "; check its power, its address and the network between";
  if (failure.kind == bacnet::Failure::Kind::kNotFound)
    words += "; check DeviceId, and name the network with --interface";
  return words;
}

bool isMissing(const bacnet::ReadOutcome& outcome) {
  const auto* failure = std::get_if<bacnet::Failure>(&outcome);
  return failure != nullptr && failure->kind == bacnet::Failure::Kind::kError &&
         failure->error.errorCode == bacnet::error_code::kUnknownProperty;
}

Complaint writeAt(CDevice& device, const bacnet::ObjectId& object, std::uint8_t priority, bacnet::Value value) {
  const auto outcome =
      device.write({{{object, {bacnet::property::kPresentValue, {}}}, {std::move(value)}, priority}}).front();
  return outcome ? Complaint(wordsOf(*outcome)) : std::nullopt;
}

// A type for a text: as the device has it, or as whoever commands the object wrote it.
std::optional<bacnet::ApplicationType> typeIn(const Commands& commands) {
  if (const auto type = bacnet::typeOf(commands.presentValue)) return type;
  return bacnet::typeOf(commands.relinquishDefault);
}

std::string addressWords(const bacnet::NetworkAddress& address) {
  const auto local = address.network == bacnet::kLocalNetwork ? bacnet::addressOf(address.mac) : std::nullopt;
  if (local) return io::addressText(*local);
  return fmt::format("network {}, address {}", address.network, macText(address.mac));
}

std::string wordsOf(const bacnet::ValueSource& source) {
  if (const auto* address = std::get_if<bacnet::NetworkAddress>(&source)) return addressWords(*address);
  const auto* object = std::get_if<bacnet::SourceObject>(&source);
  if (object == nullptr) return {};
  const std::string words = bacnet::objectText(object->object);
  return object->device ? fmt::format("device {}, {}", *object->device, words) : words;
}

// A time stamp that is a date with a time; of the others, which are a time of some day and a count, there is none.
std::string timeIn(const bacnet::Value& value) {
  const auto* stamp = std::get_if<bacnet::Constructed>(&value);
  if (stamp == nullptr || stamp->items.size() != 2) return {};
  const auto* date = std::get_if<bacnet::Date>(&stamp->items[0]);
  const bool isKnown = date != nullptr && std::holds_alternative<bacnet::Time>(stamp->items[1]) && date->day <= 31;
  return isKnown ? bacnet::describe(stamp->items[0]) + " " + bacnet::describe(stamp->items[1]) : "";
}

// One element a priority, or none at all.
bacnet::Values elementsIn(const bacnet::ReadOutcome& outcome) {
  const auto* values = std::get_if<bacnet::Values>(&outcome);
  return values != nullptr && values->size() == kPriorities ? *values : bacnet::Values(kPriorities);
}

}  // namespace

std::optional<std::uint8_t> Commands::active() const {
  const auto isNull = [](const bacnet::Value& slot) { return std::holds_alternative<bacnet::Null>(slot); };
  const auto first = std::find_if_not(slots.begin(), slots.end(), isNull);
  if (first == slots.end()) return std::nullopt;
  return static_cast<std::uint8_t>(first - slots.begin() + 1);
}

std::string_view levelOf(std::uint8_t priority) {
  switch (priority) {
    case 1:
      return "manual life safety";
    case 2:
      return "automatic life safety";
    case 5:
      return "critical equipment control";
    case kReservedPriority:
      return "minimum on/off";
    case kOperatorPriority:
      return "manual operator";
    default:
      return "";
  }
}

bacnet::ObjectId commandedObject(const plant::Point& point) {
  const auto property = static_cast<PropertyId>(point.propId);
  if (property == bacnet::property::kPresentValue || property == bacnet::property::kPriorityArray)
    return {static_cast<bacnet::ObjectType>(point.objectType), static_cast<std::uint32_t>(point.instance)};
  const auto name = bacnet::kPropertyNames.name(property);
  throw CFailure(ExitStatus::kUsage,
                 fmt::format("{} is {}, which has no priorities", point.fullName(),
                             name.empty() ? fmt::format("property {}", property) : std::string(name)),
                 "name a point of the present value (PropID 85)");
}

std::uint8_t ownPriority(const plant::Point& point) {
  if (static_cast<PropertyId>(point.propId) != bacnet::property::kPriorityArray) return kOperatorPriority;
  if (point.arrayIndex >= 1 && point.arrayIndex <= kPriorities && point.arrayIndex != kReservedPriority)
    return static_cast<std::uint8_t>(point.arrayIndex);
  throw CFailure(ExitStatus::kUsage, fmt::format("{} names no priority to write at", point.fullName()),
                 "name one with --priority: 1 to 16, but not 6");
}

Complaint readCommands(CDevice& device, const bacnet::ObjectId& object, Commands& commands) {
  const auto outcomes = device.read({item(object, bacnet::property::kPresentValue),
                                     item(object, bacnet::property::kPriorityArray, kOctetsOfSlots),
                                     item(object, bacnet::property::kRelinquishDefault)});
  if (const auto* failure = std::get_if<bacnet::Failure>(&outcomes[0])) return wordsOf(*failure);
  if (isMissing(outcomes[1])) return kNotCommanded;
  if (const auto* failure = std::get_if<bacnet::Failure>(&outcomes[1])) return wordsOf(*failure);
  const auto& slots = std::get<bacnet::Values>(outcomes[1]);
  if (slots.size() != kPriorities) return fmt::format("its priority array has {} slots", slots.size());

  commands.presentValue = std::get<bacnet::Values>(outcomes[0]);
  std::copy(slots.begin(), slots.end(), commands.slots.begin());
  if (const auto* values = std::get_if<bacnet::Values>(&outcomes[2])) commands.relinquishDefault = *values;
  return std::nullopt;
}

Origins readOrigins(CDevice& device, const bacnet::ObjectId& object, const Commands& commands) {
  Origins origins;
  if (!commands.active()) return origins;
  const auto outcomes = device.read({item(object, bacnet::property::kValueSourceArray, kOctetsOfSources),
                                     item(object, bacnet::property::kCommandTimeArray, kOctetsOfTimes)});
  const bacnet::Values sources = elementsIn(outcomes[0]);
  const bacnet::Values times = elementsIn(outcomes[1]);
  for (std::size_t slot = 0; slot < origins.size(); ++slot) {
    if (std::holds_alternative<bacnet::Null>(commands.slots.at(slot))) continue;
    if (const auto source = bacnet::valueSourceIn(sources[slot])) origins.at(slot).source = wordsOf(*source);
    origins.at(slot).time = timeIn(times[slot]);
  }
  return origins;
}

Complaint releaseAt(CDevice& device, const bacnet::ObjectId& object, std::uint8_t priority) {
  Commands commands;
  if (auto complaint = readCommands(device, object, commands)) return complaint;
  return writeAt(device, object, priority, bacnet::Null{});
}

Complaint commandAt(CDevice& device, const bacnet::ObjectId& object, std::uint8_t priority, const std::string& text) {
  Commands commands;
  if (auto complaint = readCommands(device, object, commands)) return complaint;
  const auto type = typeIn(commands);
  if (!type) return "the device tells no type for it: its present value and relinquish default are empty";
  // Enumerated where the device has one, so that a binary value may be written in the words of a project's BOOL.
  const bool isBinary = *type == bacnet::ApplicationType::kEnumerated;
  const std::string written = isBinary && text == "true" ? "1" : isBinary && text == "false" ? "0" : text;
  const auto value = bacnet::valueOf(written, *type);
  if (!value) return fmt::format("'{}' is no value of its type", text);
  return writeAt(device, object, priority, *value);
}

}  // namespace tool
