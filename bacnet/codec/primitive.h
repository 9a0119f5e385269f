#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "bacnet/codec/value.h"

namespace bacnet {

/// The contents of primitive tags, clauses 20.2.2 to 20.2.14, without the tag.

/// 1 to 8 octets, and at most `largest`.
std::optional<std::uint64_t> unsignedIn(std::string_view content, std::uint64_t largest = UINT64_MAX);
std::optional<ObjectId> objectIdIn(std::string_view content);

/// The content of an application tag of that type, the Boolean excepted: its value stands in the tag. Types beyond the
/// standard's give an UnknownPrimitive; nothing where the content is none of its type.
std::optional<Value> primitiveIn(std::uint8_t type, std::string_view content);

std::size_t unsignedOctets(std::uint64_t number);  ///< 1 to 8: what its shortest form takes
std::size_t signedOctets(std::int64_t number);

std::uint32_t objectIdNumber(const ObjectId& object);  ///< type and instance in the 32 bits that travel

}  // namespace bacnet
