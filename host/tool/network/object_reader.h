#pragma once

#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "bacnet/client/device_client.h"
#include "host/tool/console/records.h"
#include "host/tool/network/device.h"
#include "host/tool/network/object_facts.h"

namespace tool {

/// Reads what objects a device has, and what they are. Nothing is written. Ctrl-C, and what else stops the device's
/// station, ends each read early.
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

  /// Stops where the device falls silent. An object that the device does not have is not in the result.
  std::map<bacnet::ObjectId, ObjectFacts> readFacts(const std::vector<bacnet::ObjectId>& objects);

 private:
  std::optional<bacnet::Failure> readElements(std::uint32_t instance, std::vector<bacnet::ObjectId>& objects);
  /// Asks for what `itemsOf` says, a few objects at a time, and hands on what has come, object by object.
  void readEach(const std::vector<bacnet::ObjectId>& objects,
                const std::function<std::vector<bacnet::ReadItem>(const bacnet::ObjectId&)>& itemsOf,
                const std::function<void(const bacnet::ObjectId&, const Answers&)>& take);

  CDevice& device_;
};

}  // namespace tool
