#include "host/tool/link/helper_files.h"

#include <fmt/format.h>

#include <filesystem>
#include <system_error>

namespace tool {

namespace {

namespace fs = std::filesystem;

std::string linkFile(std::int32_t link, const char* extension) {
  return fmt::format("{}/link_{}.{}", kRuntimeDirectory, link, extension);
}

}  // namespace

std::string findHelper(const std::string& projectDirectory) {
  const fs::path directory = projectDirectory;
  std::error_code unknown;
  if (fs::exists(directory / kHelperName, unknown)) return directory / kHelperName;
  for (fs::recursive_directory_iterator entry(directory / kFallbackFolder, unknown), end; !unknown && entry != end;
       entry.increment(unknown)) {
    if (entry->path().filename() == kHelperName && fs::is_regular_file(entry->symlink_status(unknown)))
      return entry->path();
  }
  return kHelperName;
}

std::string helperSocket(std::int32_t link) {
  return linkFile(link, "sock");
}

std::string helperPidFile(std::int32_t link) {
  return linkFile(link, "pid");
}

std::string helperLog(std::int32_t link) {
  return linkFile(link, "log");
}

}  // namespace tool
