#pragma once

#include <optional>
#include <string>

#include "host/tool/command/search_options.h"
#include "host/tool/network/listing.h"

namespace tool {

/// One device that a command line names.
struct DeviceChoice {
  StationOptions station;
  bacnet::DeviceSettings device;  ///< as it is known so far
  std::optional<Search> search;   ///< to be found by its instance
  std::string text;               ///< for complaints
  bool isOfLink = false;          ///< it is that of the project's link
};

/// `text` is an instance, an address, or empty for the device of the project's link. Throws CFailure: usage when it is
/// neither, project as readPresentLink and stationFor.
DeviceChoice deviceChoice(const Options& options, const SearchOptions& search, const std::string& text);

/// Result: nothing when Ctrl-C came first. Throws CFailure: unreachable when it does not answer, usage when several
/// devices have the instance.
std::optional<FoundDevice> findDevice(CStation& station, const DeviceChoice& choice);

}  // namespace tool
