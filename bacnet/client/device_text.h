#pragma once

#include <string>

#include "bacnet/client/device_state.h"

namespace bacnet {

/// Words for log lines.
std::string stationText(const Station& station);
std::string deviceText(const DeviceState& state);  ///< "device 4711 at 192.0.2.7:47808"
std::string objectText(const ObjectId& object);    ///< "analog-input 3"
std::string failureText(const Failure& failure);   ///< "error write-access-denied (40)"

}  // namespace bacnet
