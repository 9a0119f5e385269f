#pragma once

#include <string>

namespace tool {

/// What a helper says of itself.
struct HelperVersion {
  std::string text;          ///< its name and version; empty when it does not say
  bool isSimulated = false;  ///< its points are no device's
};

/// Runs `helper` with --version. Blocks for two seconds at most.
HelperVersion versionOf(const std::string& helper);

}  // namespace tool
