#pragma once

#include <mutex>
#include <thread>
#include <vector>

#include "host/tool/console/records.h"
#include "host/tool/network/station.h"
#include "host/tool/options.h"
#include "plant/project.h"

namespace tool {

/// Searches for devices as a station of its own, on the ports of the project's links. Thread-safe; one search at a
/// time.
class CDiscovery {
 public:
  CDiscovery(const Options& options, const std::vector<plant::Link>& links);
  /// Waits for the search under way, which Ctrl-C ends.
  ~CDiscovery();
  CDiscovery(const CDiscovery&) = delete;
  CDiscovery& operator=(const CDiscovery&) = delete;

  /// Begins a search, unless one is under way.
  void start();
  /// "devices" as discover shows them, null before the first search; "searched": when that was; "isSearching"; "error"
  /// of the last search.
  Record state() const;

 private:
  void search();

  std::vector<StationOptions> places_;
  mutable std::mutex mutex_;
  bool isSearching_ = false;
  Record devices_;
  Record searched_;
  Record error_;
  std::thread thread_;
};

}  // namespace tool
