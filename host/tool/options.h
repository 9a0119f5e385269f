#pragma once

#include <cstdint>
#include <string>

#include "host/tool/console/records.h"

namespace tool {

/// What stands before or after every command.
struct Options {
  std::string plugin;   ///< empty: the usual places
  std::string project;  ///< the project directory, absolute and ending in a separator
  std::int32_t link = 1;
  bool isLinkNamed = false;  ///< it stood on the command line
  bool takesOver = false;    ///< a helper that serves the link for another project is handed this one
  std::string networkInterface = "lo";
  bool isInterfaceNamed = false;  ///< that name stood on the command line
  Format format = Format::kTable;
  std::int32_t stringBytes = 32;  ///< register length of a STRING point, even

  /// For commands that ask the network themselves: the interface named, or empty for all but the loopback.
  std::string broadcastInterface() const { return isInterfaceNamed ? networkInterface : std::string(); }
};

}  // namespace tool
