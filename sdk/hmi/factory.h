#pragma once

#include <rttr/variant.h>

#include <cstdint>
#include <string>

namespace driver {

/// The runtime's driver factory: looks `typeName` up in the reflection registry, invokes its constructor without
/// arguments and leaves the result, a shared pointer to the driver, in `out`.
/// Result: 0; -1 no such type; -2 the type has no constructor without arguments, or it refused.
std::int32_t createDriver(const std::string& typeName, rttr::variant& out);

}  // namespace driver
