#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "fuzz/check.h"

/// A file in memory that is read by its path like any other.
class CMemoryFile {
 public:
  CMemoryFile() : descriptor_(memfd_create("file", MFD_CLOEXEC)) {}
  ~CMemoryFile() { close(descriptor_); }
  CMemoryFile(const CMemoryFile&) = delete;
  CMemoryFile& operator=(const CMemoryFile&) = delete;

  /// Sets its content. Result: its path.
  std::string hold(std::string_view text) const {
    FUZZ_CHECK(ftruncate(descriptor_, 0) == 0);
    FUZZ_CHECK(pwrite(descriptor_, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
    return "/proc/self/fd/" + std::to_string(descriptor_);
  }

 private:
  int descriptor_;
};
