#pragma once

#include <optional>
#include <vector>

#include "bacnet/client/device_client.h"
#include "host/tool/console/records.h"
#include "host/tool/network/device.h"

namespace tool {

/// Reads what objects a device has, and what they are. Nothing is written. Ctrl-C ends each read early.
class CObjectReader {
 public:
  /// `device` outlives the reader.
  explicit CObjectReader(CDevice& device) : device_(device) {}

  /// The object list of device `instance`: in one piece, or element by element where the device cannot give it so.
  /// Result: nothing when it is whole, otherwise why it is not; `objects` then has what has come.
  std::optional<bacnet::Failure> readList(std::uint32_t instance, std::vector<bacnet::ObjectId>& objects);

  /// A record each: type, typeName, instance, name, description, value (as text), valueText (of the state), units,
  /// states, flags, commandable, cov. What an object does not have is null. Stops where the device falls silent.
  std::vector<Record> readObjects(const std::vector<bacnet::ObjectId>& objects);

 private:
  std::optional<bacnet::Failure> readElements(std::uint32_t instance, std::vector<bacnet::ObjectId>& objects);

  CDevice& device_;
};

}  // namespace tool
