#pragma once

#include <cstdint>
#include <map>

#include "host/tool/network/listing.h"
#include "plant/object_points.h"
#include "plant/project.h"

namespace tool {

/// The link of a project that reaches a listed device: its address, or the router's with the route behind it, or the
/// BBMD's, and batches only where the device takes them. Without number and points.
plant::Link linkTo(const Record& device);

/// The number of the link in `links` that leads to the same device; otherwise the first free one from `first` on. One
/// of a device whose instance another one has, too, is known by its address as well, one without `DeviceId` by its
/// address alone.
std::int32_t numberOf(const plant::Link& link, bool isDuplicate, const std::map<std::int32_t, plant::Link>& links,
                      std::int32_t first);

/// A listed object as points are made of it; an object without a name is called by its type and instance.
plant::ObjectRecord objectOf(const Record& object);

}  // namespace tool
