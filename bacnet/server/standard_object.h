#pragma once

#include <memory>
#include <string>

#include "bacnet/server/object.h"

namespace bacnet::server {

/// Outputs, values and the value types: commanded at a priority.
bool isCommandableType(ObjectType type);

/// A value of the type: zero, false, an empty text, a date and time of which anything is unspecified, ...
Values zeroOf(Datatype datatype);

/// An object with what the standard requires of its type, and the usual more: an input, output or value of the analog,
/// binary, multi-state and the simple value types. Of any other type it has its identity and a description only.
std::unique_ptr<CObject> makeStandardObject(ObjectId id, const std::string& name);

}  // namespace bacnet::server
