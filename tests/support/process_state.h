#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>

namespace support {

inline std::size_t entriesOf(const char* directory) {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(directory), {}));
}

/// Open descriptors of this process, the one that counts them included.
inline std::size_t descriptorCount() {
  return entriesOf("/proc/self/fd");
}

inline std::size_t threadCount() {
  return entriesOf("/proc/self/task");
}

}  // namespace support
