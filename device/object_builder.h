#pragma once

#include <string>
#include <vector>

#include "bacnet/server/device.h"
#include "plant/project.h"

namespace device {

/// A point and the property of the device that it names.
struct PlacedPoint {
  plant::Point point;
  bacnet::server::CObject* object = nullptr;  ///< the device's
};

/// Adds the objects that the points name, each as the standard has its type, with the points' own properties where the
/// standard has none. An object is named by the point of its present value. Result: the points that found their place;
/// `remarks` has a line for each one that did not, or that a device would answer with an error.
std::vector<PlacedPoint> addObjects(const std::vector<plant::Point>& points, bacnet::server::CDevice& device,
                                    std::vector<std::string>& remarks);

}  // namespace device
