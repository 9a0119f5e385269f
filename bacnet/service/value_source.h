#pragma once

#include <cstdint>
#include <optional>
#include <variant>

#include "bacnet/codec/npdu.h"
#include "bacnet/codec/value.h"

namespace bacnet {

/// Who gave an object's value, as far as the device knows: nobody or not known, an object, or an address.
struct SourceObject {
  std::optional<std::uint32_t> device;  ///< none: the object is in the device itself
  ObjectId object;
};
using ValueSource = std::variant<std::monostate, SourceObject, NetworkAddress>;

/// The standard's BACnetValueSource as a property holds it.
Value toValue(const ValueSource& source);
/// Nothing where `value` is no such thing.
std::optional<ValueSource> valueSourceIn(const Value& value);

}  // namespace bacnet
