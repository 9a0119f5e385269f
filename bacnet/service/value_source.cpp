#include "bacnet/service/value_source.h"

#include <string>

#include "bacnet/codec/octets.h"

namespace bacnet {

namespace {

enum Choice : std::uint8_t { kNone, kObject, kAddress };
constexpr std::uint8_t kDeviceTag = 0;
constexpr std::uint8_t kObjectTag = 1;
constexpr unsigned kInstanceBits = 22;
constexpr std::uint16_t kDeviceType = 8;

ContextPrimitive idIn(std::uint8_t tag, const ObjectId& id) {
  ContextPrimitive context{tag, {}};
  appendNumber(context.bytes, std::uint64_t{id.type} << kInstanceBits | id.instance, 4);
  return context;
}

std::optional<ObjectId> idOf(const Value& value, std::uint8_t tag) {
  const auto* context = std::get_if<ContextPrimitive>(&value);
  if (context == nullptr || context->tag != tag || context->bytes.size() != 4) return std::nullopt;
  const std::uint64_t number = numberOf(context->bytes);
  return ObjectId{static_cast<ObjectType>(number >> kInstanceBits),
                  static_cast<std::uint32_t>(number) & kLargestInstance};
}

std::optional<ValueSource> objectIn(const Values& items) {
  if (items.empty() || items.size() > 2) return std::nullopt;
  const auto object = idOf(items.back(), kObjectTag);
  const auto device = items.size() == 2 ? idOf(items.front(), kDeviceTag) : std::nullopt;
  if (!object || (items.size() == 2 && !device)) return std::nullopt;
  return SourceObject{device ? std::optional(device->instance) : std::nullopt, *object};
}

std::optional<ValueSource> addressIn(const Values& items) {
  const auto* network = items.size() == 2 ? std::get_if<std::uint64_t>(&items[0]) : nullptr;
  const auto* mac = items.size() == 2 ? std::get_if<OctetString>(&items[1]) : nullptr;
  if (network == nullptr || mac == nullptr || *network > UINT16_MAX) return std::nullopt;
  return NetworkAddress{static_cast<std::uint16_t>(*network), mac->bytes};
}

}  // namespace

Value toValue(const ValueSource& source) {
  if (const auto* object = std::get_if<SourceObject>(&source)) {
    Constructed reference{kObject, {}};
    if (object->device) reference.items.emplace_back(idIn(kDeviceTag, {kDeviceType, *object->device}));
    reference.items.emplace_back(idIn(kObjectTag, object->object));
    return reference;
  }
  if (const auto* address = std::get_if<NetworkAddress>(&source))
    return Constructed{kAddress, {std::uint64_t{address->network}, OctetString{address->mac}}};
  return ContextPrimitive{kNone, {}};
}

std::optional<ValueSource> valueSourceIn(const Value& value) {
  if (const auto* none = std::get_if<ContextPrimitive>(&value)) {
    if (none->tag == kNone && none->bytes.empty()) return ValueSource();
    return std::nullopt;
  }
  const auto* choice = std::get_if<Constructed>(&value);
  if (choice == nullptr) return std::nullopt;
  if (choice->tag == kObject) return objectIn(choice->items);
  return choice->tag == kAddress ? addressIn(choice->items) : std::nullopt;
}

}  // namespace bacnet
