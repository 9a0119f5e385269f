#include "plant/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace plant {

namespace {

constexpr mode_t kNewMode = 0644;

// A file beside the one that it is to become, removed again unless it did.
class CTemporaryFile {
 public:
  explicit CTemporaryFile(const std::string& target) : path_(target + ".XXXXXX") {
    descriptor_ = mkostemp(path_.data(), O_CLOEXEC);
  }
  ~CTemporaryFile() {
    if (descriptor_ < 0) return;
    close(descriptor_);
    if (!isRenamed_) unlink(path_.c_str());
  }
  CTemporaryFile(const CTemporaryFile&) = delete;
  CTemporaryFile& operator=(const CTemporaryFile&) = delete;

  bool fill(const std::string& text) const {
    if (descriptor_ < 0) return false;
    for (std::size_t written = 0; written < text.size();) {
      const ssize_t result = write(descriptor_, text.data() + written, text.size() - written);
      if (result < 0 && errno != EINTR) return false;
      if (result > 0) written += static_cast<std::size_t>(result);
    }
    return true;
  }

  // A new file gets the usual mode; one that replaces another gets that one's.
  bool takeAttributesOf(const std::string& target) const {
    struct stat status {};
    if (stat(target.c_str(), &status) != 0) return fchmod(descriptor_, kNewMode) == 0;
    const bool isForeign = status.st_uid != geteuid() || status.st_gid != getegid();
    if (isForeign && fchown(descriptor_, status.st_uid, status.st_gid) != 0 && errno != EPERM) return false;
    return fchmod(descriptor_, status.st_mode & 07777) == 0;
  }

  bool sync() const { return fsync(descriptor_) == 0; }

  bool renameTo(const std::string& target, Existing existing) {
    isRenamed_ = existing == Existing::kReplaced
                     ? rename(path_.c_str(), target.c_str()) == 0
                     : renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0;
    return isRenamed_;
  }

 private:
  std::string path_;
  int descriptor_;
  bool isRenamed_ = false;
};

bool syncDirectoryOf(const std::string& path) {
  const std::string directory = std::filesystem::path(path).parent_path().string();
  const int descriptor = open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return false;
  const bool isSynced = fsync(descriptor) == 0;
  close(descriptor);
  return isSynced;
}

}  // namespace

std::int32_t readFile(const std::string& path, std::string& text, std::string& error) {
  std::error_code reason;
  if (!std::filesystem::is_regular_file(path, reason)) {
    error = path + ": " + (reason ? reason.message() : "not a regular file");
    return -1;
  }
  const std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  if (!file || (content << file.rdbuf(), content.bad())) {
    error = path + ": " + std::strerror(errno);
    return -1;
  }
  text = content.str();
  return 0;
}

std::int32_t writeFile(const std::string& path, const std::string& text, Existing existing, std::string& error) {
  std::error_code unknown;
  const bool isThere = std::filesystem::exists(path, unknown);
  if (isThere && existing == Existing::kRefused) {
    error = path + ": there is such a file already";
    return -1;
  }
  if (isThere && !std::filesystem::is_regular_file(path, unknown)) {
    error = path + ": not a regular file";  // replacing a device or a pipe would take it away from everybody
    return -2;
  }
  const std::string target = isThere ? std::filesystem::canonical(path, unknown).string() : path;
  CTemporaryFile file(target);
  if (file.fill(text) && file.takeAttributesOf(target) && file.sync() && file.renameTo(target, existing) &&
      syncDirectoryOf(target))
    return 0;
  error = path + ": " + std::strerror(errno);
  return errno == EEXIST ? -1 : -2;
}

}  // namespace plant
