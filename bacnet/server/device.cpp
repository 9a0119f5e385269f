#include "bacnet/server/device.h"

#include <ctime>
#include <functional>
#include <utility>

#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"
#include "bacnet/number/services.h"
#include "bacnet/server/patience.h"

namespace bacnet::server {

namespace {

constexpr std::size_t kServiceBits = 41;     // of protocol revision 14
constexpr std::size_t kObjectTypeBits = 55;  // likewise
constexpr std::uint64_t kProtocolVersion = 1;
constexpr std::uint64_t kProtocolRevision = 14;

std::uint64_t milliseconds(std::chrono::milliseconds duration) {
  return static_cast<std::uint64_t>(duration.count());
}

using Compute = std::function<Values(const CObject&)>;

void add(CObject& object, PropertyId id, Datatype datatype, Value value, bool isRequired = true) {
  Property property;
  property.datatype = datatype;
  property.values = {std::move(value)};
  property.isRequired = isRequired;
  object.add(id, std::move(property));
}

void addComputed(CObject& object, PropertyId id, Datatype datatype, Compute compute, Shape shape = Shape::kSingle,
                 bool isRequired = true) {
  Property property;
  property.datatype = datatype;
  property.computed = std::move(compute);
  property.shape = shape;
  property.isRequired = isRequired;
  object.add(id, std::move(property));
}

void addText(CObject& object, PropertyId id, const std::string& value, bool isRequired) {
  add(object, id, Datatype::kCharacterString, text(value), isRequired);
  if (isRequired) return;
  Property property = *object.find(id);
  property.access = Access::kAlways;
  object.add(id, std::move(property));
}

BitString servicesOf(const Abilities& abilities) {
  std::vector<bool> bits(kServiceBits);
  bits[service_bit::kReadProperty] = true;
  bits[service_bit::kReadPropertyMultiple] = abilities.readsMultiple;
  bits[service_bit::kWriteProperty] = true;
  bits[service_bit::kWritePropertyMultiple] = abilities.writesMultiple;
  bits[service_bit::kSubscribeCov] = abilities.notifiesChanges;
  bits[service_bit::kWhoHas] = true;
  bits[service_bit::kWhoIs] = true;
  return {bits};
}

BitString typesOf(const CDevice& device) {
  std::vector<bool> bits(kObjectTypeBits);
  for (const auto& object : device.objects()) {
    if (object->id().type < bits.size()) bits[object->id().type] = true;
  }
  return {bits};
}

Values objectList(const CDevice& device) {
  Values list;
  for (const auto& object : device.objects()) list.emplace_back(object->id());
  return list;
}

std::tm localTime() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&now, &local);
  return local;
}

Values localDateNow(const CObject&) {
  const std::tm local = localTime();
  const int weekday = local.tm_wday == 0 ? 7 : local.tm_wday;
  return {Date{static_cast<std::uint8_t>(local.tm_year), static_cast<std::uint8_t>(local.tm_mon + 1),
               static_cast<std::uint8_t>(local.tm_mday), static_cast<std::uint8_t>(weekday)}};
}

Values localTimeNow(const CObject&) {
  const std::tm local = localTime();
  return {Time{static_cast<std::uint8_t>(local.tm_hour), static_cast<std::uint8_t>(local.tm_min),
               static_cast<std::uint8_t>(local.tm_sec), 0}};
}

// The standard counts minutes westward of Greenwich, without summer time.
Values utcOffset(const CObject&) {
  const std::tm local = localTime();
  const std::int64_t summer = local.tm_isdst > 0 ? 3600 : 0;
  return {std::int64_t{(summer - local.tm_gmtoff) / 60}};
}

void addIdentity(CObject& object, const Identity& identity) {
  addText(object, property::kVendorName, identity.vendorName, true);
  add(object, property::kVendorIdentifier, Datatype::kUnsigned, std::uint64_t{identity.vendor});
  addText(object, property::kModelName, identity.model, true);
  addText(object, property::kFirmwareRevision, identity.firmware, true);
  addText(object, property::kApplicationSoftwareVersion, identity.software, true);
  addText(object, property::kDescription, identity.description, false);
  addText(object, property::kLocation, identity.location, false);
  add(object, property::kSystemStatus, Datatype::kEnumerated, Enumerated{0});  // operational
  add(object, property::kDatabaseRevision, Datatype::kUnsigned, std::uint64_t{1});
}

void addProtocol(CObject& object, const CDevice& device) {
  const Abilities& abilities = device.abilities();
  add(object, property::kProtocolVersion, Datatype::kUnsigned, kProtocolVersion);
  add(object, property::kProtocolRevision, Datatype::kUnsigned, kProtocolRevision);
  addComputed(object, property::kProtocolServicesSupported, Datatype::kBitString,
              [&](const CObject&) { return Values{servicesOf(abilities)}; });
  addComputed(object, property::kProtocolObjectTypesSupported, Datatype::kBitString,
              [&](const CObject&) { return Values{typesOf(device)}; });
  addComputed(
      object, property::kObjectList, Datatype::kObjectId, [&](const CObject&) { return objectList(device); },
      Shape::kArray);
  addComputed(object, property::kMaxApduLengthAccepted, Datatype::kUnsigned,
              [&](const CObject&) { return Values{std::uint64_t{abilities.maxApdu}}; });
  addComputed(object, property::kSegmentationSupported, Datatype::kEnumerated,
              [&](const CObject&) { return Values{Enumerated{static_cast<std::uint32_t>(abilities.segmentation)}}; });
  addComputed(
      object, property::kMaxSegmentsAccepted, Datatype::kUnsigned,
      [&](const CObject&) { return Values{std::uint64_t{abilities.maxSegments}}; }, Shape::kSingle, false);
  add(object, property::kApduTimeout, Datatype::kUnsigned, milliseconds(kApduTimeout));
  add(object, property::kApduSegmentTimeout, Datatype::kUnsigned, milliseconds(kApduSegmentTimeout), false);
  add(object, property::kNumberOfApduRetries, Datatype::kUnsigned, std::uint64_t{kApduRetries});
  addComputed(
      object, property::kDeviceAddressBinding, Datatype::kAny, [](const CObject&) { return Values{}; }, Shape::kList);
}

void addClock(CObject& object) {
  addComputed(object, property::kLocalDate, Datatype::kDate, localDateNow, Shape::kSingle, false);
  addComputed(object, property::kLocalTime, Datatype::kTime, localTimeNow, Shape::kSingle, false);
  addComputed(object, property::kUtcOffset, Datatype::kSigned, utcOffset, Shape::kSingle, false);
  addComputed(
      object, property::kDaylightSavingsStatus, Datatype::kBoolean,
      [](const CObject&) { return Values{localTime().tm_isdst > 0}; }, Shape::kSingle, false);
}

}  // namespace

CDevice::CDevice(const Identity& identity) : vendor_(identity.vendor) {
  auto object = std::make_unique<CObject>(ObjectId{object_type::kDevice, identity.instance}, identity.name);
  addIdentity(*object, identity);
  addProtocol(*object, *this);
  addClock(*object);
  byName_[object->name()] = object.get();
  objects_.push_back(std::move(object));
}

CObject* CDevice::add(std::unique_ptr<CObject> object) {
  if (find(object->id()) != nullptr || findByName(object->name()) != nullptr) return nullptr;
  CObject* const added = objects_.emplace_back(std::move(object)).get();
  byId_[added->id()] = byName_[added->name()] = added;
  return added;
}

CObject* CDevice::find(ObjectId id) {
  if (id == deviceObject().id() || id == ObjectId{object_type::kDevice, kLargestInstance}) return &deviceObject();
  const auto found = byId_.find(id);
  return found == byId_.end() ? nullptr : found->second;
}

CObject* CDevice::findByName(const std::string& name) {
  const auto found = byName_.find(name);
  return found == byName_.end() ? nullptr : found->second;
}

}  // namespace bacnet::server
