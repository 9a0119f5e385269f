#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace support {

/// A directory of the test's own below the system's temporary directory, removed with all its content.
class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "bacnet_test.XXXXXX").string();
    path_ = mkdtemp(pattern.data());
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  /// The path with a trailing separator, as the host names its project directory.
  std::string project() const { return path_.string() + "/"; }
  std::string file(const std::string& name) const { return (path_ / name).string(); }

  std::string write(const std::string& name, const std::string& content) const {
    std::ofstream(file(name), std::ios::binary) << content;
    return file(name);
  }

 private:
  std::filesystem::path path_;
};

inline std::string readFile(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

}  // namespace support
