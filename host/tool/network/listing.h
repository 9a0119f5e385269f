#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/tool/console/records.h"
#include "host/tool/network/search.h"

namespace tool {

/// A device with its objects, as they were read or saved.
// The JSON library promises nothing for its moves, which terminate where they fail, as they should.
struct Listing {                // NOLINT(bugprone-exception-escape)
  Record device;                ///< see host/tool/network/device_record.h
  std::vector<Record> objects;  ///< see host/tool/network/object_reader.h
  std::string problem;          ///< why objects are missing; empty if none are
};

/// The device that `settings` name, from what it says of itself. Result: nothing with `problem` when it does not
/// answer.
std::optional<FoundDevice> identify(CStation& station, const bacnet::DeviceSettings& settings, std::string& problem);

/// Numbers of object types; none stands for all.
using ObjectTypes = std::set<std::int32_t>;
bool isAmong(const ObjectTypes& types, std::int32_t type);

/// Asks `device` for all objects of `types` that it has; with Ctrl-C for what can be had until then.
Listing readListing(CStation& station, const FoundDevice& device, const ObjectTypes& types = {});

/// The text of a file to keep a listing in: JSON with a line for each object, in the order of the device's list.
std::string toText(const Listing& listing);
/// Result: nothing with a one-line `error` when `text` is none.
std::optional<Listing> parseListing(const std::string& text, std::string& error);
/// Reads such a file. Throws CFailure (usage) when it is none.
Listing savedListing(const std::string& file);

}  // namespace tool
