#pragma once

#include <string>

#include "host/tool/console/records.h"
#include "host/tool/network/search.h"

namespace tool {

constexpr const char* kDuplicate = "duplicate id";  ///< note of a device whose instance another one has

/// A device as `discover` shows it and as it is saved: device, address, network, mac, vendor, model, name, maxApdu,
/// segmentation, services (null where it does not answer), note.
Record recordOf(const DeviceDetails& details);

/// Octets in hexadecimal, as "VirtualMac" takes them.
std::string macText(const std::string& mac);

}  // namespace tool
