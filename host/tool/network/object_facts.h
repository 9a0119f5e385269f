#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "bacnet/client/device_client.h"

namespace tool {

/// What a device says of one of its objects, beside values.
struct ObjectFacts {
  std::optional<std::string> name;
  std::optional<std::string> description;
  std::optional<std::uint32_t> units;  ///< the standard's number
  std::vector<std::string> states;     ///< texts of inactive and active, or of the states from 1 on
  bool isCommandable = false;
};

/// What was asked of one object; what it does not have is not there.
using Answers = std::map<bacnet::PropertyId, bacnet::Values>;

/// What has to be asked for the facts of `object`. One element tells whether there is a priority array.
std::vector<bacnet::ReadItem> factItems(const bacnet::ObjectId& object);
ObjectFacts factsOf(const bacnet::ObjectId& object, const Answers& answers);

/// The number of the first of an object's states: 0 where it is binary, otherwise 1.
std::uint32_t firstState(bacnet::ObjectType type);
bool isAnalog(bacnet::ObjectType type);

}  // namespace tool
