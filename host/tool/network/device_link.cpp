#include "host/tool/network/device_link.h"

#include <algorithm>
#include <string>

#include "bacnet/network/network.h"
#include "io/address.h"

namespace tool {

namespace {

constexpr std::int32_t kThroughRouter = 1;
constexpr std::int32_t kThroughBbmd = 2;

std::string textIn(const Record& record, const char* key) {
  return record.contains(key) && record[key].is_string() ? record[key].get<std::string>() : "";
}

bool takes(const Record& device, const char* service) {
  if (!device.contains("services") || !device["services"].is_array()) return false;
  const Record& services = device["services"];
  return std::find(services.begin(), services.end(), Record(service)) != services.end();
}

void setAddress(plant::Link& link, const std::string& text) {
  const auto address = io::parseAddress(text, bacnet::kStandardPort);
  if (!address) return;
  link.ip = io::ipText(address->ip);
  link.desPort = address->port;
}

std::int32_t portOf(const plant::Link& link) {
  return link.desPort == 0 ? bacnet::kStandardPort : link.desPort;
}

bool isSamePlace(const plant::Link& a, const plant::Link& b) {
  return a.mode == b.mode && a.ip == b.ip && portOf(a) == portOf(b) && a.network == b.network &&
         a.virtualMac == b.virtualMac;
}

// A DeviceId of 0 tells none, as one beyond the largest does.
bool hasDeviceId(const plant::Link& link) {
  return link.deviceId > 0 && link.deviceId < static_cast<std::int32_t>(bacnet::kLargestInstance);
}

}  // namespace

plant::Link linkTo(const Record& device) {
  plant::Link link;
  link.desPort = bacnet::kStandardPort;
  link.srcPort = bacnet::kStandardPort;
  link.deviceId = device["device"].get<std::int32_t>();
  link.enableReadPropm = takes(device, "RPM");
  link.enableWritePropm = takes(device, "WPM");
  setAddress(link, device["address"].get<std::string>());
  if (device.contains("network") && device["network"].is_number_unsigned()) {
    link.mode = kThroughRouter;
    link.network = device["network"].get<std::int32_t>();
    link.virtualMac = textIn(device, "mac");
    link.macLen = static_cast<std::int32_t>(link.virtualMac.size() / 2);
    // One octet alone would be read as a decimal number first.
    if (link.macLen == 1) link.virtualMac = std::to_string(std::stoi(link.virtualMac, nullptr, 16));
  }
  if (const std::string bbmd = textIn(device, "bbmd"); !bbmd.empty()) {
    link.mode = kThroughBbmd;
    setAddress(link, bbmd);
  }
  return link;
}

std::int32_t numberOf(const plant::Link& link, bool isDuplicate, const std::map<std::int32_t, plant::Link>& links,
                      std::int32_t first) {
  for (const auto& [number, each] : links) {
    if (hasDeviceId(each) && each.deviceId == link.deviceId && (!isDuplicate || isSamePlace(each, link))) return number;
  }
  for (const auto& [number, each] : links) {
    if (!hasDeviceId(each) && link.mode != kThroughBbmd && isSamePlace(each, link)) return number;
  }
  while (links.count(first) > 0) ++first;
  return first;
}

plant::ObjectRecord objectOf(const Record& object) {
  plant::ObjectRecord record;
  record.objectType = object["type"].get<std::int32_t>();
  record.instance = object["instance"].get<std::int32_t>();
  record.name = textIn(object, "name");
  if (record.name.empty()) record.name = plant::objectName(record.objectType, record.instance);
  record.isCommandable = object["commandable"].get<bool>();
  return record;
}

}  // namespace tool
