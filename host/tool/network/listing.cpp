#include "host/tool/network/listing.h"

#include <fmt/format.h>

#include <algorithm>

#include "bacnet/client/device_text.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"
#include "host/tool/failure.h"
#include "host/tool/network/device.h"
#include "host/tool/network/device_record.h"
#include "host/tool/network/object_reader.h"
#include "plant/file.h"

namespace tool {

namespace {

// Replaces what is no UTF-8 rather than failing on it.
std::string lineOf(const Record& record) {
  return record.dump(-1, ' ', false, Record::error_handler_t::replace);
}

// No number of BACnet's in a list is larger.
bool isNumber(const Record& record, const char* key) {
  return record.contains(key) && record[key].is_number_unsigned() &&
         record[key].get<std::uint64_t>() <= bacnet::kLargestInstance;
}

bool isObject(const Record& record) {
  return record.is_object() && isNumber(record, "type") && isNumber(record, "instance") && record.contains("name") &&
         record.contains("commandable") && record["commandable"].is_boolean();
}

bool isDevice(const Record& record) {
  const auto isText = [&](const char* key) { return record.contains(key) && record[key].is_string(); };
  return record.is_object() && isText("name") && isText("note") && isNumber(record, "device") && isText("address");
}

}  // namespace

std::optional<FoundDevice> identify(CStation& station, const bacnet::DeviceSettings& settings, std::string& problem) {
  CDevice device(station, settings);
  const bacnet::ObjectId self{bacnet::object_type::kDevice, settings.deviceId.value_or(bacnet::kLargestInstance)};
  const auto outcome = device.read({{{self, {bacnet::property::kObjectIdentifier, {}}}, 5}}).front();
  const bacnet::DeviceProfile& profile = device.profile();
  if (const auto* failure = std::get_if<bacnet::Failure>(&outcome)) {
    problem = bacnet::failureText(*failure);
    return std::nullopt;
  }
  const auto& values = std::get<bacnet::Values>(outcome);
  const auto* id = values.size() == 1 ? std::get_if<bacnet::ObjectId>(&values.front()) : nullptr;
  if (id == nullptr || !profile.station) {
    problem = "it does not tell its device instance";
    return std::nullopt;
  }
  const auto maxApdu = static_cast<std::uint32_t>(profile.maxApdu);
  return FoundDevice{*profile.station, {id->instance, maxApdu, profile.segmentation, profile.vendor}, false};
}

bool isAmong(const ObjectTypes& types, std::int32_t type) {
  return types.empty() || types.count(type) > 0;
}

Listing readListing(CStation& station, const FoundDevice& found, const ObjectTypes& types) {
  Listing listing;
  listing.device = recordOf(readDetails(station, {found}).front());
  CDevice device(station, settingsOf(found));
  CObjectReader reader(device);
  std::vector<bacnet::ObjectId> objects;
  if (const auto failure = reader.readList(found.iAm.device, objects))
    listing.problem = fmt::format("the object list is not whole: {}", bacnet::failureText(*failure));
  objects.erase(std::remove_if(objects.begin(), objects.end(),
                               [&](const bacnet::ObjectId& each) { return !isAmong(types, each.type); }),
                objects.end());
  listing.objects = reader.readObjects(objects);
  if (listing.problem.empty() && listing.objects.size() < objects.size())
    listing.problem = fmt::format("{} of {} objects were read", listing.objects.size(), objects.size());
  return listing;
}

std::string toText(const Listing& listing) {
  std::string text = "{\"device\":" + lineOf(listing.device) + ",\n\"objects\":[";
  for (const Record& object : listing.objects)
    text += (&object == listing.objects.data() ? "\n" : ",\n") + lineOf(object);
  text += "\n]";
  if (!listing.problem.empty()) text += ",\n\"problem\":" + lineOf(listing.problem);
  return text + "}\n";
}

std::optional<Listing> parseListing(const std::string& text, std::string& error) {
  const Record whole = Record::parse(text, nullptr, false);
  const bool hasParts = whole.is_object() && whole.contains("device") && whole.contains("objects");
  if (!hasParts || !isDevice(whole["device"]) || !whole["objects"].is_array()) {
    error = "it is no list that 'hmi-host objects --save' wrote";
    return std::nullopt;
  }
  const bool hasProblem = whole.contains("problem") && whole["problem"].is_string();
  Listing listing{whole["device"], whole["objects"], hasProblem ? whole["problem"].get<std::string>() : ""};
  const auto broken = std::find_if_not(listing.objects.begin(), listing.objects.end(), isObject);
  if (broken == listing.objects.end()) return listing;
  error =
      fmt::format("object {} of it lacks type, instance, name or commandable", broken - listing.objects.begin() + 1);
  return std::nullopt;
}

Listing savedListing(const std::string& file) {
  std::string text;
  std::string error;
  if (plant::readFile(file, text, error) != 0)
    throw CFailure(ExitStatus::kUsage, error, "name a list that 'hmi-host objects --save' wrote");
  if (auto listing = parseListing(text, error)) return *listing;
  throw CFailure(ExitStatus::kUsage, fmt::format("{}: {}", file, error), "save the device's objects anew");
}

}  // namespace tool
