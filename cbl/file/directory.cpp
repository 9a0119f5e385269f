#include "cbl/file/directory.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

namespace cbl {

namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

bool endsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

}  // namespace

std::int32_t listDir64(const std::string& directory, bool recursive, const DirectoryVisitor& visitor) {
  if (!visitor) return -1;
  const std::unique_ptr<DIR, CloseDirectory> opened(opendir(directory.c_str()));
  if (!opened) return -2;

  while (const dirent64* entry = readdir64(opened.get())) {
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    const std::string path = directory + "/" + entry->d_name;

    struct stat64 record {};
    if (lstat64(path.c_str(), &record) != 0) return -3;
    visitor(path, record);

    if (recursive && S_ISDIR(record.st_mode)) {
      const std::int32_t inner = listDir64(path, recursive, visitor);
      if (inner < 0) {
        std::printf("listDir64 error %d\n", inner);
        return -4;
      }
    }
  }
  return 0;
}

std::int32_t listAllFiles(std::string directory, std::list<std::string>& files,
                          const std::vector<std::string>& extensions) {
  files.clear();
  while (!directory.empty() && directory.back() == '/') directory.pop_back();

  return listDir64(directory, true, [&](const std::string& path, const struct stat64& entry) {
    if (!S_ISREG(entry.st_mode)) return;
    const auto matches = [&](const std::string& extension) { return endsWith(path, extension); };
    if (extensions.empty() || std::any_of(extensions.begin(), extensions.end(), matches)) files.push_back(path);
  });
}

std::int32_t makeDirs(const std::string& path) {
  if (path.empty()) return 0;
  struct stat64 record {};
  if (stat64(path.c_str(), &record) == 0 && S_ISDIR(record.st_mode)) return 1;

  for (std::size_t i = 0; i < path.size(); ++i) {
    if (path[i] != '/' && i + 1 != path.size()) continue;
    const std::string prefix = path.substr(0, i + 1);
    if (mkdir(prefix.c_str(), 0755) != 0 && errno != EEXIST) {
      const int error = errno;
      std::printf("mkdir %s failed(%d,%s)\n", prefix.c_str(), error, std::strerror(error));
      return 0;
    }
  }
  return 1;
}

}  // namespace cbl
