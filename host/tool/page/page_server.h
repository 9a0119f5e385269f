#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/tool/options.h"
#include "plant/project.h"

namespace tool {

struct PageSettings {
  std::string ip;             ///< listened on: one of this machine's addresses
  std::uint16_t port = 0;     ///< 0: any that is free
  bool wantsToken = false;    ///< on the loopback, too; elsewhere there always is one
  bool allowsWrites = false;  ///< beyond the loopback, too
  bool isReadOnly = false;
  std::chrono::milliseconds interval{1000};  ///< from round to round
};

/// Polls the points of `links` and serves the page with them until Ctrl-C. `onReady` is handed the page's address, the
/// token in it. A driver call that Ctrl-C finds under way is given 1 s; then the process ends with status 130.
/// Throws CFailure: usage when the address cannot be listened on, plug-in when that cannot be loaded.
void servePage(const Options& options, const std::vector<plant::Link>& links, const PageSettings& settings,
               const std::function<void(const std::string& address)>& onReady);

}  // namespace tool
