#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

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

/// A figure in KiB of a process's own status, such as "VmPeak".
inline long statusKiB(const std::string& name, const std::string& process = "self") {
  std::ifstream status("/proc/" + process + "/status");
  for (std::string word; status >> word;) {
    long kib = 0;
    if (word == name + ":" && status >> kib) return kib;
  }
  return 0;
}

/// Resident memory of a process, in KiB.
inline long residentKiB(const std::string& process = "self") {
  return statusKiB("VmRSS", process);
}

}  // namespace support
