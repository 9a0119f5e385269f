#pragma once

#include <cstddef>

namespace tool {

/// A file of the page, as the build took it in.
struct SiteFile {
  const char* name;  ///< in the page's folder
  const char* type;  ///< of its content
  const unsigned char* content;
  std::size_t size;
};

extern const SiteFile* const kSiteFiles;
extern const std::size_t kSiteFileCount;

}  // namespace tool
