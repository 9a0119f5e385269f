#pragma once

#include <CLI/App.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/tool/network/search.h"
#include "host/tool/options.h"

namespace tool {

/// How a command line says where devices are searched for.
struct SearchOptions {
  std::uint16_t port = bacnet::kStandardPort;
  std::optional<std::uint16_t> network;
  std::string router;
  std::string bbmd;
  double seconds = 3;

  /// Adds --port, --network, --router, --bbmd and --timeout to `command`.
  void addTo(CLI::App& command);

  /// Throws CFailure (usage) for an address that is none.
  StationOptions station(const Options& options) const;
  Search search() const;
};

/// The devices that `search` finds. Throws CFailure (usage) where there is no way to ask.
std::vector<FoundDevice> searchFor(CStation& station, const Search& search);

}  // namespace tool
