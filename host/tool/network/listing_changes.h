#pragma once

#include <vector>

#include "host/tool/network/listing.h"

namespace tool {

/// What has become of a device's objects since `before`, a record each: change (added, gone, renamed, changed), type,
/// typeName, instance, name, field, was, is. An object that is there under another type or instance, but with its name,
/// has changed in its field "object". What is gone is left out where `now` is not whole.
std::vector<Record> changesBetween(const Listing& before, const Listing& now);

}  // namespace tool
